#include "agentcore.system-inventorysource.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.com-cominitialiser.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-wine.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::Exception::ComException;
using Shared::WinReg::Root;
using testing::HasSubstr;
using testing::SizeIs;

constexpr const wchar_t* VersionKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

class WmiInventoryTest : public testing::Test
{
protected:
    WmiInventoryTest()
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

/// The registry is this test's own while it runs, the connections to WMI have been made before.
class ReleaseNameTest : public WmiInventoryTest
{
protected:
    ReleaseNameTest()
    {
        Shared::WinReg::CreateKey(Root::LocalMachine, VersionKey);
    }

private:
    TestSupport::TemporarySettingsStore m_store;
};

TEST_F(ReleaseNameTest, TheDisplayVersionCountsFirst)
{
    Shared::WinReg::SetStringValue(Root::LocalMachine, VersionKey, L"ReleaseId", L"2009");
    Shared::WinReg::SetStringValue(Root::LocalMachine, VersionKey, L"DisplayVersion", L"22H2");
    EXPECT_EQ(m_source->QueryReleaseName(m_gaps), L"22H2");
}

TEST_F(ReleaseNameTest, OlderSystemsTellTheReleaseId)
{
    Shared::WinReg::SetStringValue(Root::LocalMachine, VersionKey, L"ReleaseId", L"1809");
    EXPECT_EQ(m_source->QueryReleaseName(m_gaps), L"1809");
}

TEST_F(ReleaseNameTest, AnEmptyDisplayVersionIsOne)
{
    Shared::WinReg::SetStringValue(Root::LocalMachine, VersionKey, L"ReleaseId", L"1809");
    Shared::WinReg::SetStringValue(Root::LocalMachine, VersionKey, L"DisplayVersion", L"");
    EXPECT_EQ(m_source->QueryReleaseName(m_gaps), L"");
}

TEST_F(ReleaseNameTest, WithoutBothThereIsNone)
{
    EXPECT_EQ(m_source->QueryReleaseName(m_gaps), std::nullopt);
    EXPECT_THAT(m_gaps, SizeIs(1));
}

TEST_F(WmiInventoryTest, AllPropertiesOfTheComputerAreTold)
{
    const auto computer = m_source->QueryComputerSystem(m_gaps);
    ASSERT_TRUE(computer);
    EXPECT_TRUE(
        computer->isHypervisorPresent && computer->domain && computer->name && computer->manufacturer &&
        computer->model);
}

TEST_F(WmiInventoryTest, TheBiosHasARow)
{
    ASSERT_TRUE(m_source->QueryBios(m_gaps));
}

TEST_F(WmiInventoryTest, DisksAreReadInTheOrderOfTheirProperties)
{
    std::vector<LogicalDiskRecord> disks;
    const auto query = [&]
    {
        m_source->QueryLogicalDisks(m_gaps, [&](const LogicalDiskRecord& record) { disks.push_back(record); });
    };
    if (!TestSupport::IsWine())
    {
        query();
        ASSERT_FALSE(disks.empty());
        EXPECT_EQ(disks[0].name->size(), 2U);
        return;
    }
    // Wine's class has no media type, which stands behind name and file system.
    try
    {
        query();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const ComException& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr("Failed ClassObject::Get() on attribute name: MediaType"));
    }
}

TEST(WmiInventoryConnectionTest, WithoutComThereIsNoConnection)
{
    EXPECT_THROW(MakeInventorySource(), ComException);
}

} // namespace
