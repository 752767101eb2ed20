#include "agentcore.ops-startup.hpp"

#include <chrono>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.log-functions.hpp"
#include "shared.util-time.hpp"
#include "test.support-capturedlog.hpp"
#include "test.system-fakeinventory.hpp"

namespace
{

using namespace AgentCore::Ops;
using AgentCore::System::SystemQuerier;
using Shared::Log::Level;
using testing::ElementsAre;

class StartupTest : public testing::Test
{
protected:
    Startup Build()
    {
        Shared::AppSettings::AppSettings settings;
        settings.accountId = 4711;
        settings.agentUuid = L"a-b-c";
        settings.installedVersion = L"1.2.3";
        return BuildStartup(settings, m_now, [this] { return TestSupport::MakeFakeQuerier(m_machine); });
    }

    const Shared::Time::UtcTime m_now{std::chrono::hours{24 * 365 * 50}};
    TestSupport::CapturedLog m_log;
    TestSupport::FakeMachine m_machine;
};

TEST_F(StartupTest, TellsWhoPostsAndWhen)
{
    const auto startup = Build();
    EXPECT_EQ(startup.account_id(), 4711);
    EXPECT_EQ(startup.uuid(), "a-b-c");
    EXPECT_EQ(startup.version(), "1.2.3");
    EXPECT_EQ(startup.utc_time(), Shared::Util::FormatTimeText(m_now, Shared::Util::ZoneForm::Unpadded));
    EXPECT_EQ(startup.utc_time().substr(0, 18), "20191220-00:00:00.");
}

TEST_F(StartupTest, AsksInItsOrder)
{
    (void)Build();
    EXPECT_THAT(
        m_machine.asked,
        ElementsAre(
            "wireless lans", "interfaces", "power", "computer", "release", "operating system", "bios", "disks",
            "processors", "modules"));
    EXPECT_EQ(m_log.Count(Level::Debug, "Startup Post data retrieval OK"), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, ""), 0U);
}

TEST_F(StartupTest, EachAnswerHasItsPlace)
{
    m_machine.wirelessLans[0].set_ssid("office");
    m_machine.interfaces[1].message.set_id("eth0");
    const auto startup = Build();
    ASSERT_EQ(startup.network().wlans_size(), 1);
    EXPECT_EQ(startup.network().wlans(0).ssid(), "office");
    ASSERT_EQ(startup.network().interfaces_size(), 2);
    EXPECT_EQ(startup.network().interfaces(1).id(), "eth0");
    EXPECT_EQ(startup.system().battery_status().battery_life_percent(), 80U);
    EXPECT_EQ(startup.system().computer().name(), "fern");
    EXPECT_EQ(startup.system().os().version(), "22H2");
    EXPECT_EQ(startup.system().bios().serial_number(), "SN-1");
    ASSERT_EQ(startup.system().logical_drives_size(), 1);
    EXPECT_EQ(startup.system().logical_drives(0).name(), "C:");
    ASSERT_EQ(startup.system().hardware().cpu_size(), 1);
    EXPECT_EQ(startup.system().hardware().cpu(0).name(), "Swift");
    EXPECT_EQ(startup.system().hardware().ram().modules_size(), 2);
}

TEST_F(StartupTest, TheTotalIsTheSumOfTheModules)
{
    EXPECT_EQ(Build().system().hardware().ram().total_physical(), 8192U + 4096U);
    m_machine.modules.clear();
    EXPECT_EQ(Build().system().hardware().ram().total_physical(), 0U);
}

TEST_F(StartupTest, AFailingQueryLeavesTheRest)
{
    m_machine.failing = "computer";
    m_machine.failure = std::make_exception_ptr(std::runtime_error("the query broke"));
    const auto startup = Build();
    EXPECT_EQ(startup.system().computer().ByteSizeLong(), 0U);
    EXPECT_EQ(startup.system().os().name(), "Test OS");
    EXPECT_EQ(m_log.Count(Level::Debug, "Startup Post data retrieval OK"), 1U);
}

TEST_F(StartupTest, AnExceptionLeavesWhatWasFilledAndIsLogged)
{
    /// Throws where no getter ought to.
    class Broken : public SystemQuerier
    {
    public:
        using SystemQuerier::SystemQuerier;

        Bios GetBiosInfo() override
        {
            throw std::runtime_error("no more memory");
        }
    };

    const auto startup = BuildStartup(
        {}, m_now,
        [this]
        {
            return std::make_shared<Broken>(
                TestSupport::MakeFakeSource(m_machine), std::make_unique<AgentCore::System::NetworkingQuerier>(),
                std::make_unique<AgentCore::Wlan::WlanQuerier>(nullptr));
        });
    EXPECT_TRUE(startup.system().has_os());
    EXPECT_FALSE(startup.system().has_bios());
    EXPECT_FALSE(startup.system().has_hardware());
    EXPECT_EQ(m_log.Count(Level::Error, "Exception occurred during Agent Startup data retrieval"), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Startup Post data retrieval OK"), 0U);
}

TEST_F(StartupTest, AMachineWithoutAnInventoryStillPosts)
{
    Shared::AppSettings::AppSettings settings;
    settings.accountId = 7;
    const auto startup = BuildStartup(
        settings, m_now,
        []() -> std::shared_ptr<SystemQuerier>
        { throw std::runtime_error("Could not connect to requested namespace"); });
    EXPECT_EQ(startup.account_id(), 7);
    EXPECT_FALSE(startup.has_system());
    EXPECT_EQ(m_log.Count(Level::Error, "Exception occurred during Agent Startup data retrieval"), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Could not connect to requested namespace"), 1U);
}

} // namespace
