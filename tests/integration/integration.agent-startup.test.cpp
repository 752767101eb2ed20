#include "integration.agentfixture.hpp"

#include "lab.vellab-settings.hpp"
#include "lab.vellab-surroundings.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"

#include <chrono>
#include <filesystem>
#include <regex>

namespace
{

using Integration::AgentTest;
using Integration::RunResult;
using Shared::Concurrency::Event;
using ::testing::HasSubstr;
using ::testing::Not;
namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using WinReg::Root;

constexpr const char* Fast = "--clock-speed=50";

/// What an operator reads of a start without a tenant, in this order.
constexpr const char* StartLines[] = {
    "[info] This agent is version 1.0.0",
    "[info] Main loop state: Initialise",
    "[info] No AgentUuid or RegisteredId found; reregistering...",
    "[info] Main loop state: Register",
    "[warning] Tried to register, but no subtenant-id was found.",
    "[info] Main loop state: Disconnected",
    "[warning] Agent will attempt to reconnect in ",
    "[info] AgentProcess ends with exit code 0"};

void ExpectInOrder(const std::string& log)
{
    std::size_t position = 0;
    for (const char* line : StartLines)
    {
        const std::size_t found = log.find(line, position);
        ASSERT_NE(found, std::string::npos) << "missing or out of order: " << line << "\nthe log:\n" << log;
        position = found;
    }
}

TEST_F(AgentTest, StartsWalksItsStatesAndStopsByTheEventWithCode0)
{
    Event stop(false, true, L"StopEvent");
    const auto agent = StartAgent({Fast});
    AwaitLog("Main loop state: Disconnected");
    stop.Signal();
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 0);
    ExpectInOrder(result.log);
    EXPECT_EQ(WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"status"), L"enabled");
}

TEST_F(AgentTest, WithAUserSignedInItKnowsTheTenantAndTriesToRegister)
{
    Lab::SetVpnUser(Lab::VpnUser());
    WinReg::SetDwordValue(Root::LocalMachine, Paths::Config, L"MaximumRetryDelaySeconds", 60);
    Event stop(false, true, L"StopEvent");
    std::vector<std::string> arguments = {Fast};
    if (!Lab::HasServiceAccounts())
    {
        arguments.emplace_back("-d");
    }
    const auto agent = StartAgent(arguments);
    AwaitLog("Register() is reconnecting");
    // There is no connector beside the agent: its start fails, and is tried again.
    AwaitLog("Attempting to start Connector...");
    AwaitLog("IOWorker will retry in 30000ms");
    AwaitLog("IOWorker will retry in 60000ms");
    stop.Signal();
    // The registration waits for a connection without a limit, and so does the stop. Fifty seconds of the agent.
    EXPECT_FALSE(Shared::Concurrency::WaitFor(agent->GetHandle(), 1000)) << ReadLog();
    // With one the agent sees that nobody answers, and then that it is to stop.
    std::filesystem::copy_file(
        Program("lab/VELPortalProcess").replace_extension(".exe"), AgentFolder() / "connector being copied");
    std::filesystem::rename(AgentFolder() / "connector being copied", AgentFolder() / "VELPortalProcess.exe");
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("This machine's BIOS serial number is "));
    EXPECT_THAT(result.log, HasSubstr("Attempting to register agent..."));
    EXPECT_THAT(result.log, HasSubstr("[error] Exception in IOWorker main loop: "));
    EXPECT_THAT(result.log, HasSubstr("IOWorker successfully connected"));
    EXPECT_THAT(result.log, HasSubstr("Register success message timed out"));
    EXPECT_THAT(result.log, HasSubstr("Main loop state: RetryPrevious"));
    EXPECT_THAT(result.log, Not(HasSubstr("no subtenant-id was found")));
    EXPECT_THAT(result.log, Not(HasSubstr("lab-tenant")));
}

TEST_F(AgentTest, TheShippedAgentDoesTheSameInRealTime)
{
    Event stop(false, true, L"StopEvent");
    const auto start = Shared::Time::MonotonicNow();
    const auto agent = StartAgent({Fast}, true);
    AwaitLog("Main loop state: Disconnected");
    EXPECT_GE(Shared::Time::MonotonicNow() - start, std::chrono::milliseconds(990)) << "it has no switch for its clock";
    stop.Signal();
    EXPECT_EQ(AwaitEnd(*agent).exitCode, 0);
}

TEST_F(AgentTest, WithoutAParentItEndsWith1500AfterItsDelay)
{
    const auto agent = StartAgent({Fast});
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 1500);
    EXPECT_THAT(result.log, HasSubstr("[error] Exception logged in function "));
    EXPECT_THAT(result.log, HasSubstr("AgentProcess initialisation failed "));
    EXPECT_THAT(result.log, HasSubstr("Failed to create or open event StopEvent"));
    EXPECT_TRUE(std::regex_search(result.log, std::regex("Waiting [0-9]+ ms before opening the stop event")));
}

TEST_F(AgentTest, InDebugModeItMakesItsStopEventItselfAtOnceAndTalksToTheConsole)
{
    const auto agent = StartAgent({"-d"});
    AwaitLog("Main loop state: Disconnected");
    Event stop(false, true, L"StopEvent");
    stop.Signal();
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.log, HasSubstr("[debug] AgentProcess has been started in debug mode..."));
    EXPECT_THAT(result.log, Not(HasSubstr("before opening the stop event")));
    EXPECT_THAT(result.output, HasSubstr("Main loop state: Disconnected"));
}

TEST_F(AgentTest, OtherArgumentsMeanNothing)
{
    const auto agent = StartAgent({Fast, "-D", "--help", "d"});
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 1500);
    EXPECT_THAT(result.log, Not(HasSubstr("debug mode")));
}

TEST_F(AgentTest, WithoutItsKeysItEndsWith1500AndSaysWhatIsMissing)
{
    (void)WinReg::DeleteKeyTree(Root::LocalMachine, Paths::Config);
    const auto agent = StartAgent({Fast});
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 1500);
    EXPECT_THAT(result.output, HasSubstr("SOFTWARE\\Tarvane\\VEL\\Config does not exist."));
    EXPECT_THAT(result.output, HasSubstr("AgentProcess ends with exit code 1500"));
}

TEST_F(AgentTest, WithoutAServerItEndsWith1500)
{
    WinReg::DeleteValue(Root::LocalMachine, Paths::Config, L"Server");
    const auto agent = StartAgent({Fast});
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 1500);
    EXPECT_THAT(result.output, HasSubstr("No server value found in registry key."));
}

TEST_F(AgentTest, AStopAtAnyInstantOfTheStartEndsItInOrder)
{
    for (int delayMs = 0; delayMs <= 240; delayMs += 40)
    {
        Event stop(false, true, L"StopEvent");
        const auto agent = StartAgent({"--clock-speed=100"});
        Shared::Time::SleepFor(std::chrono::milliseconds(delayMs));
        stop.Signal();
        EXPECT_EQ(AwaitEnd(*agent).exitCode, 0) << "stopped after " << delayMs << " ms";
        stop.Reset();
    }
}

TEST_F(AgentTest, AChangeOfItsKeyUpdatesTheStatusWhileItWaits)
{
    Event stop(false, true, L"StopEvent");
    const auto agent = StartAgent({"--clock-speed=5"});
    AwaitLog("Agent will attempt to reconnect in ");
    WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"status", L"written by somebody else");
    const auto end = Shared::Time::MonotonicNow() + std::chrono::seconds(20 * VEL_TIME_SCALE);
    while (WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"status") != L"enabled")
    {
        ASSERT_LT(Shared::Time::MonotonicNow(), end) << ReadLog();
        Shared::Time::SleepFor(std::chrono::milliseconds(20));
    }
    stop.Signal();
    EXPECT_EQ(AwaitEnd(*agent).exitCode, 0);
}

TEST_F(AgentTest, ALogFileThatCannotBeWrittenDoesNotStopTheAgent)
{
    std::filesystem::create_directories(LogFile());
    Event stop(false, true, L"StopEvent");
    const auto agent = StartAgent({"-d"});
    const auto end = Shared::Time::MonotonicNow() + std::chrono::seconds(20 * VEL_TIME_SCALE);
    while (Integration::ReadFile(Folder() / "output.txt").find("Main loop state: Disconnected") == std::string::npos)
    {
        ASSERT_LT(Shared::Time::MonotonicNow(), end) << Integration::ReadFile(Folder() / "errors.txt");
        Shared::Time::SleepFor(std::chrono::milliseconds(20));
    }
    stop.Signal();
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(std::regex_search(result.errors, std::regex(R"(\[\*\*\* LOG ERROR #[0-9]{4} \*\*\*\] \[)")))
        << result.errors;
}

} // namespace
