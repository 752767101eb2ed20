#include "tools.velinventory-settings.hpp"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.ops-identity.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.com-cominitialiser.hpp"
#include "shared.crypto-functions.hpp"
#include "shared.crypto-registrationkey.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

namespace
{

using namespace Tools::VelInventory;
using Shared::WinReg::Root;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
namespace Paths = Shared::AppSettings::Paths;

/// A registry of the test's own, and the key of this machine, which is asked for before.
class VelInventorySettingsTest : public testing::Test
{
protected:
    VelInventorySettingsTest()
    {
        m_com.Initialise();
        Shared::Crypto::SetBiosSerialProvider([] { return AgentCore::Ops::GetBiosSerialNumber(); });
        m_key = Shared::Crypto::GetRegistrationKey();
        m_store.emplace();
    }

    void LayOut()
    {
        const std::wstring vel = std::wstring{Paths::Norvik} + L"\\VEL";
        for (const auto& key : {std::wstring{Paths::Agent}, std::wstring{Paths::Config}, vel})
        {
            Shared::WinReg::CreateKey(Root::LocalMachine, key);
        }
        Shared::WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"installed-version", L"1.2.3");
        Shared::WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"Server", L"https://cloud.test:8443");
        Shared::WinReg::SetStringValue(Root::LocalMachine, vel, L"tunnel-status", L"connected");
        const auto user = Shared::Crypto::Encrypt("username=jo,domain=CORP,tenant-id=t,sub-tenant-id=s", m_key);
        Shared::WinReg::SetStringValue(
            Root::LocalMachine, vel, L"user-id", Shared::Util::ConvertStringType(std::string_view{user}));
    }

    static const SettingRow* Find(const EvaluatedSettings& evaluated, const std::string& name)
    {
        for (const auto& section : evaluated.sections)
        {
            const auto row = std::find_if(
                section.rows.begin(), section.rows.end(),
                [&name](const SettingRow& candidate) { return candidate.name == name; });
            if (row != section.rows.end())
            {
                return &*row;
            }
        }
        return nullptr;
    }

    static void ExpectRow(
        const EvaluatedSettings& evaluated, const std::string& name, const SettingValue& value, bool isSecret)
    {
        const auto* const row = Find(evaluated, name);
        ASSERT_NE(row, nullptr) << name;
        EXPECT_EQ(row->value, value) << name;
        EXPECT_EQ(row->isSecret, isSecret) << name;
    }

private:
    Shared::COM::ComInitialiser m_com;
    TestSupport::CapturedLog m_log;
    std::string m_key;
    std::optional<TestSupport::TemporarySettingsStore> m_store;
};

TEST_F(VelInventorySettingsTest, AllOfThemAreToldAndSecretsAreMarked)
{
    LayOut();
    const auto evaluated = EvaluateSettings();
    EXPECT_EQ(evaluated.settings.installedVersion, L"1.2.3");
    ExpectRow(evaluated, "server", std::string{"cloud.test"}, false);
    ExpectRow(evaluated, "port", std::int64_t{8443}, false);
    ExpectRow(evaluated, "tunnelStatus", std::string{"connected"}, false);
    ExpectRow(evaluated, "fullUsername", std::string{"CORP\\jo"}, true);
    ExpectRow(evaluated, "username", std::string{"jo"}, true);
    ExpectRow(evaluated, "domain", std::string{"CORP"}, true);
    ExpectRow(evaluated, "tenantId", std::string{"t"}, true);
    ExpectRow(evaluated, "subTenantId", std::string{"s"}, true);
    ExpectRow(evaluated, "responseTimeoutSeconds", std::int64_t{30}, false);
    ExpectRow(evaluated, "firstRetryDelayMs", std::int64_t{30'000}, false);
    ExpectRow(evaluated, "networkTestsAllowedUnlessTheServerForbids", false, false);
}

TEST_F(VelInventorySettingsTest, WithoutSettingsTheReasonIsTold)
{
    const auto evaluated = EvaluateSettings();
    EXPECT_THAT(evaluated.missing, Contains(Field(&AgentCore::System::InventoryGap::field, "settings")));
    EXPECT_THAT(
        evaluated.missing,
        Contains(Field(&AgentCore::System::InventoryGap::reason, HasSubstr("VEL\\Config does not exist."))));
    ExpectRow(evaluated, "tunnelStatus", std::string{"disconnected"}, false);
    EXPECT_EQ(Find(evaluated, "server"), nullptr);
}

} // namespace
