#include "agentprocess.helpers.hpp"

#include "shared.exception-exceptions.hpp"

#include <vector>

#include <gmock/gmock.h>

namespace
{

using Agent::Process::IsDebugRequested;
using Agent::Process::IsUnsupportedBuild;

bool IsDebug(const std::vector<const char*>& arguments)
{
    return IsDebugRequested(static_cast<int>(arguments.size()), arguments.data());
}

TEST(HelpersTest, OnlyTheExactOptionTurnsDebugModeOn)
{
    EXPECT_TRUE(IsDebug({"agent", "-d"}));
    EXPECT_TRUE(IsDebug({"agent", "x", "-d", "y"}));
    for (const char* argument : {"-D", "d", "--d", "-dd", "-d ", " -d", "", "/d"})
    {
        EXPECT_FALSE(IsDebug({"agent", argument})) << argument;
    }
    EXPECT_FALSE(IsDebug({"agent"}));
    EXPECT_FALSE(IsDebug({}));
}

TEST(HelpersTest, TheProgramsOwnNameCountsToo)
{
    EXPECT_TRUE(IsDebug({"-d"}));
}

TEST(HelpersTest, Build17763IsSupportedAnd17762IsNot)
{
    EXPECT_FALSE(IsUnsupportedBuild(L"17763"));
    EXPECT_TRUE(IsUnsupportedBuild(L"17762"));
    EXPECT_TRUE(IsUnsupportedBuild(L"0"));
    EXPECT_FALSE(IsUnsupportedBuild(L"26100"));
    EXPECT_FALSE(IsUnsupportedBuild(L"99999999999999999999999999"));
}

TEST(HelpersTest, ABuildThatIsNoNumberIsSupported)
{
    for (const wchar_t* text : {L"", L"unknown", L"1776x", L"-1", L"Linux 6.1.0", L"10.0"})
    {
        EXPECT_FALSE(IsUnsupportedBuild(text));
    }
}

TEST(HelpersTest, AnUnknownLogTargetIsRefused)
{
    Shared::AppSettings::AppSettings settings;
    settings.logging.logTarget = static_cast<Shared::AppSettings::LogTarget>(9);
    try
    {
        Agent::Process::ConfigureLogger(settings, false);
        FAIL() << "no exception";
    }
    catch (const Shared::Exception::RuntimeException& exception)
    {
        EXPECT_THAT(exception.what(), ::testing::EndsWith(" --> Unsupported LogTarget 9"));
    }
}

TEST(HelpersTest, EveryKnownLogTargetIsAccepted)
{
    for (const auto target : {Shared::AppSettings::LogTarget::EventLog, Shared::AppSettings::LogTarget::Console})
    {
        Shared::AppSettings::AppSettings settings;
        settings.logging.logTarget = target;
        EXPECT_NO_THROW(Agent::Process::ConfigureLogger(settings, false));
        EXPECT_NO_THROW(Agent::Process::ConfigureLogger(settings, true));
    }
}

} // namespace
