#include "agentcore.system-inventorysource.hpp"

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.com-cominitialiser.hpp"

namespace
{

using namespace AgentCore::System;
using testing::AnyOf;
using testing::Each;
using testing::Field;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// What must hold of any machine's inventory, asked of this one.
class InventorySourceTest : public testing::Test
{
protected:
    InventorySourceTest()
    {
        m_com.Initialise();
        m_source = MakeInventorySource();
    }

private:
    Shared::COM::ComInitialiser m_com;

protected:
    std::unique_ptr<InventorySource> m_source;
    InventoryGaps m_gaps;
};

TEST_F(InventorySourceTest, TheComputerHasAName)
{
    const auto computer = m_source->QueryComputerSystem(m_gaps);
    ASSERT_TRUE(computer);
    ASSERT_TRUE(computer->name);
    EXPECT_FALSE(computer->name->empty());
    EXPECT_EQ(computer->name->find(L'.'), std::wstring::npos);
    EXPECT_TRUE(computer->isHypervisorPresent);
}

TEST_F(InventorySourceTest, TheOperatingSystemHasACaption)
{
    const auto operatingSystem = m_source->QueryOperatingSystem(m_gaps);
    ASSERT_TRUE(operatingSystem);
    ASSERT_TRUE(operatingSystem->caption);
    EXPECT_FALSE(operatingSystem->caption->empty());
}

TEST_F(InventorySourceTest, ThereIsAProcessorAndNoneHasMoreCoresThanLogicalProcessors)
{
    std::vector<ProcessorRecord> processors;
    m_source->QueryProcessors(m_gaps, [&](const ProcessorRecord& record) { processors.push_back(record); });
    ASSERT_THAT(processors, Not(IsEmpty()));
    for (const auto& processor : processors)
    {
        ASSERT_TRUE(processor.coreCount && processor.logicalProcessorCount && processor.maxClockSpeed);
        EXPECT_GE(*processor.coreCount, 1);
        EXPECT_GE(*processor.logicalProcessorCount, *processor.coreCount);
        EXPECT_GE(*processor.maxClockSpeed, 0);
        EXPECT_TRUE(processor.architecture);
        EXPECT_TRUE(processor.name);
    }
}

TEST_F(InventorySourceTest, ModulesThatAreListedHaveACapacity)
{
    m_source->QueryMemoryModules(
        m_gaps,
        [](const MemoryModuleRecord& record)
        {
            EXPECT_TRUE(record.capacity);
            EXPECT_TRUE(record.bankLabel);
        });
}

TEST_F(InventorySourceTest, ThePowerStatusKeepsToItsNumbers)
{
    const auto status = m_source->QueryPowerStatus(m_gaps);
    EXPECT_THAT(
        status.acLineStatus,
        AnyOf(PowerStatusRecord::AcOffline, PowerStatusRecord::AcOnline, PowerStatusRecord::Unknown));
    EXPECT_TRUE(status.batteryLifePercent <= 100 || status.batteryLifePercent == PowerStatusRecord::Unknown);
    EXPECT_LE(status.batteryFlag, 255U);
    EXPECT_GE(status.batteryLifeTime, PowerStatusRecord::UnknownTime);
    EXPECT_GE(status.batteryFullLifeTime, PowerStatusRecord::UnknownTime);
    if (status.batteryFlag == PowerStatusRecord::NoBattery)
    {
        EXPECT_EQ(status.batteryLifePercent, PowerStatusRecord::Unknown);
    }
}

TEST_F(InventorySourceTest, AskingTwiceTellsTheSame)
{
    const auto first = m_source->QueryComputerSystem(m_gaps);
    const auto second = m_source->QueryComputerSystem(m_gaps);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->name, second->name);
    EXPECT_EQ(first->manufacturer, second->manufacturer);
    EXPECT_EQ(first->model, second->model);
}

TEST_F(InventorySourceTest, EachGapNamesAFieldOfTheInventory)
{
    (void)m_source->QueryComputerSystem(m_gaps);
    (void)m_source->QueryOperatingSystem(m_gaps);
    (void)m_source->QueryReleaseName(m_gaps);
    (void)m_source->QueryBios(m_gaps);
    EXPECT_THAT(m_gaps, Each(Field(&InventoryGap::field, StartsWith("system."))));
    EXPECT_THAT(m_gaps, Each(Field(&InventoryGap::reason, Not(IsEmpty()))));
}

} // namespace
