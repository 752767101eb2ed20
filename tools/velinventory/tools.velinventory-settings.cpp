#include "tools.velinventory-settings.hpp"

#include <exception>
#include <functional>
#include <utility>

#include "agentcore.ops-identity.hpp"
#include "shared.appsettings-appsettingsloader.hpp"
#include "shared.appsettings-enablement.hpp"
#include "shared.appsettings-functions.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.crypto-registrationkey.hpp"
#include "shared.crypto-sensitivestring.hpp"
#include "shared.util-functions.hpp"

namespace Tools::VelInventory
{

namespace
{

namespace AppSettings = Shared::AppSettings;
using Shared::Crypto::SensitiveString;

SettingRow Text(std::string name, std::wstring_view text)
{
    return {std::move(name), Shared::Util::ConvertStringType(text)};
}

SettingRow Secret(std::string name, std::wstring_view text)
{
    return {std::move(name), Shared::Util::ConvertStringType(text), true};
}

SettingRow Number(std::string name, std::int64_t number)
{
    return {std::move(name), number};
}

SettingRow Flag(std::string name, bool isSet)
{
    return {std::move(name), isSet};
}

SettingSection DescribeAgent(const AppSettings::AppSettings& settings)
{
    return {
        "Settings of the agent",
        {Number("accountId", settings.accountId), Text("agentUuid", settings.agentUuid),
         Secret("subtenantId", settings.subtenantId), Number("ignoreSslErrors", settings.ignoreSslErrors),
         Text("serverRaw", settings.serverRaw), Text("server", settings.server), Number("port", settings.port),
         Text("installedVersion", settings.installedVersion), Text("proxyPacUrl", settings.proxyPacUrl),
         Text("proxy", settings.proxy), Number("connectTimeoutSeconds", settings.connectTimeout),
         Number("maxLogFiles", settings.logging.maxLogFiles), Number("maxLogFileSize", settings.logging.maxLogFileSize),
         Number("logTarget", static_cast<std::int64_t>(settings.logging.logTarget)),
         Number("minimumLogLevel", settings.logging.minimumLogLevel)}};
}

SettingSection DescribeVpn(const AppSettings::VpnConnectionInfo& info, const AppSettings::AppSettings& settings)
{
    return {
        "VPN client and user",
        {Text("tunnelStatus", info.status.ToText()), Text("tunnelStatusRaw", settings.tunnelStatus),
         Text("gatewayAddress", info.gatewayAddress), Text("gateway", info.gateway),
         Text("gatewayIpV4", info.gatewayIpV4), Text("gatewayIpV6", info.gatewayIpV6),
         Text("gatewayLocation", info.gatewayLocation), Text("sourceRegion", info.sourceRegion),
         Text("tunnelIp", info.tunnelIp), Text("tunnelIpV4", info.tunnelIpV4), Text("tunnelIpV6", info.tunnelIpV6),
         Secret("fullUsername", info.fullUsername), Secret("username", info.username), Secret("domain", info.domain),
         Secret("tenantId", info.tenantId), Secret("subTenantId", info.subTenantId),
         Text("userSelection", settings.userSelection), Text("vpnVersion", settings.vpnVersion)}};
}

/// Values that are read one by one, each of which may fail without harm to the others.
class Evaluation
{
public:
    explicit Evaluation(AgentCore::System::InventoryGaps& missing) : e_missing(missing)
    {
    }

    /// Adds the row that `read` makes, or the reason why it makes none.
    void Add(const std::string& name, const std::function<SettingRow(const std::string& name)>& read)
    {
        try
        {
            m_rows.push_back(read(name));
        }
        catch (const std::exception& exception)
        {
            e_missing.push_back({"settings." + name, exception.what()});
        }
    }

    std::vector<SettingRow> TakeRows()
    {
        return std::move(m_rows);
    }

private:
    AgentCore::System::InventoryGaps& e_missing;
    std::vector<SettingRow> m_rows;
};

std::vector<SettingRow> EvaluateSingleValues(AgentCore::System::InventoryGaps& missing)
{
    Evaluation evaluation(missing);
    evaluation.Add(
        "responseTimeoutSeconds",
        [](const std::string& name) { return Number(name, AppSettings::GetResponseTimeout().count()); });
    evaluation.Add(
        "transmissionRandomisationPeriodMs",
        [](const std::string& name)
        { return Number(name, AppSettings::GetTransmissionRandomisationPeriod().count()); });
    evaluation.Add(
        "pingTimeoutMs", [](const std::string& name) { return Number(name, AppSettings::GetPingTimeoutMs()); });
    evaluation.Add(
        "dnsResolutionTimeoutMs",
        [](const std::string& name) { return Number(name, AppSettings::GetDnsResolutionTimeoutMs()); });
    evaluation.Add(
        "firstRetryDelayMs", [](const std::string& name) { return Number(name, AppSettings::CalculateRetryDelay(1)); });
    evaluation.Add(
        "secondRetryDelayMs",
        [](const std::string& name) { return Number(name, AppSettings::CalculateRetryDelay(2)); });
    evaluation.Add(
        "selfServiceEnabled", [](const std::string& name) { return Flag(name, AppSettings::GetSelfServiceEnabled()); });
    evaluation.Add(
        "vpnClientVersion", [](const std::string& name) { return Text(name, AppSettings::GetVpnClientVersion()); });
    evaluation.Add("machineGuid", [](const std::string& name) { return Text(name, AppSettings::GetMachineGuid()); });
    return evaluation.TakeRows();
}

SettingSection DescribeEvaluation(const SensitiveString& key, AgentCore::System::InventoryGaps& missing)
{
    SettingSection section{"Evaluated", EvaluateSingleValues(missing)};
    section.rows.push_back(
        Flag("networkTestsAllowedUnlessTheServerForbids", AppSettings::EvaluateNetworkTests(true, key)));
    return section;
}

/// The key; empty, with the reason, when it cannot be made.
SensitiveString MakeKey(AgentCore::System::InventoryGaps& missing)
{
    try
    {
        Shared::Crypto::SetBiosSerialProvider([] { return AgentCore::Ops::GetBiosSerialNumber(); });
        return Shared::Crypto::ToSensitiveString(Shared::Crypto::GetRegistrationKey());
    }
    catch (const std::exception& exception)
    {
        missing.push_back({"settings.key", exception.what()});
        return {};
    }
}

} // namespace

EvaluatedSettings EvaluateSettings()
{
    EvaluatedSettings result;
    const auto key = MakeKey(result.missing);
    try
    {
        result.settings = AppSettings::LoadAppSettings(key);
        result.sections.push_back(DescribeAgent(result.settings));
    }
    catch (const std::exception& exception)
    {
        result.missing.push_back({"settings", exception.what()});
    }
    result.sections.push_back(DescribeVpn(AppSettings::GetVpnConnectionInfo(key), result.settings));
    result.sections.push_back(DescribeEvaluation(key, result.missing));
    return result;
}

} // namespace Tools::VelInventory
