#include "agentcore.system-systemquerier.hpp"

#include <memory>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.ops-startup.hpp"
#include "shared.com-cominitialiser.hpp"
#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-wine.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::Log::Level;
using testing::IsEmpty;
using testing::Not;

/// The real querier of this machine.
class SystemQuerierContractTest : public testing::Test
{
protected:
    SystemQuerierContractTest()
    {
        m_com.Initialise();
        m_querier = std::make_unique<SystemQuerier>();
    }

private:
    Shared::COM::ComInitialiser m_com;

protected:
    std::unique_ptr<SystemQuerier> m_querier;
};

TEST_F(SystemQuerierContractTest, ComputerAndOperatingSystemHaveNames)
{
    EXPECT_FALSE(m_querier->GetSystemInfo().name().empty());
    EXPECT_FALSE(m_querier->GetOsInfo().name().empty());
}

TEST_F(SystemQuerierContractTest, ThereIsAProcessorWithCores)
{
    const auto processors = m_querier->GetCpuInfo();
    ASSERT_FALSE(processors.empty());
    for (const auto& processor : processors)
    {
        EXPECT_GE(processor.core_count(), 1);
        EXPECT_GE(processor.logical_processor_count(), processor.core_count());
    }
}

TEST_F(SystemQuerierContractTest, ThereIsMemory)
{
    EXPECT_GT(m_querier->GetTotalPhysicalRam(), 0U);
}

TEST_F(SystemQuerierContractTest, NoDiskHasMoreRoomThanItIsLarge)
{
    TestSupport::CapturedLog log;
    const auto disks = m_querier->GetLogicalDisks();
    std::set<std::string> names;
    for (const auto& disk : disks)
    {
        EXPECT_FALSE(disk.name().empty());
        EXPECT_FALSE(disk.file_system().empty());
        EXPECT_GT(disk.size(), 0U) << disk.name();
        EXPECT_LE(disk.free_space(), disk.size()) << disk.name();
        EXPECT_TRUE(names.insert(disk.name()).second) << disk.name() << " comes twice";
    }
    // A list that was cut short says so.
    EXPECT_TRUE(
        !disks.empty() || log.Count(Level::Error, "Exception during GetLogicalDisks()") == 1U ||
        !m_querier->GetGaps().empty());
}

TEST_F(SystemQuerierContractTest, WhatIsEmptyHasAReason)
{
    TestSupport::CapturedLog log;
    if (m_querier->GetBiosInfo().serial_number().empty())
    {
        EXPECT_THAT(m_querier->GetGaps(), Not(IsEmpty()));
    }
}

TEST_F(SystemQuerierContractTest, BatteryAndLinksCanBeAsked)
{
    TestSupport::CapturedLog log;
    (void)m_querier->GetBatteryStatus();
    (void)m_querier->GetWirelessLans();
    (void)m_querier->GetNetworkInterfaces();
    EXPECT_EQ(log.Count(Level::Error, "Exception during"), 0U);
}

TEST_F(SystemQuerierContractTest, AllOfItMakesAStartup)
{
    TestSupport::CapturedLog log;
    Startup startup;
    AgentCore::Ops::FillStartupInventory(*m_querier, startup);
    EXPECT_TRUE(startup.IsInitialized());
    EXPECT_TRUE(startup.system().has_computer());
    EXPECT_GE(startup.system().hardware().cpu_size(), 1);
}

} // namespace
