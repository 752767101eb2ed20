#include "agentcore.wlan-wlanclient.windows.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::Wlan
{

namespace
{

constexpr DWORD ClientVersion = 2;

// The numbers go through as they come.
static_assert(static_cast<InterfaceState>(wlan_interface_state_connected) == InterfaceState::Connected);
static_assert(static_cast<InterfaceState>(wlan_interface_state_authenticating) == InterfaceState::Authenticating);
static_assert(static_cast<PhyType>(dot11_phy_type_ofdm) == PhyType::Ofdm);
static_assert(static_cast<PhyType>(dot11_phy_type_erp) == PhyType::ExtendedRate);
static_assert(static_cast<PhyType>(dot11_phy_type_ht) == PhyType::HighThroughput);

std::string ToText(const GUID& guid)
{
    return Shared::Util::ConvertStringType(Shared::Util::ConvertRawGuid(std::bit_cast<Shared::Util::RawGuid>(guid)));
}

/// The name without what the system's buffer holds behind it.
std::string ReadSsid(const DOT11_SSID& ssid)
{
    const auto length = std::min<std::size_t>(ssid.uSSIDLength, sizeof(ssid.ucSSID));
    return {reinterpret_cast<const char*>(ssid.ucSSID), length};
}

WlanConnection ReadConnection(const WLAN_ASSOCIATION_ATTRIBUTES& association)
{
    WlanConnection connection;
    connection.ssid = ReadSsid(association.dot11Ssid);
    std::copy_n(association.dot11Bssid, connection.bssid.size(), connection.bssid.begin());
    connection.phyType = static_cast<PhyType>(association.dot11PhyType);
    connection.quality = association.wlanSignalQuality;
    connection.receiveRate = association.ulRxRate;
    connection.transmitRate = association.ulTxRate;
    return connection;
}

class NativeWlanClient final : public WlanClient
{
public:
    NativeWlanClient(const WlanApi& api, std::shared_ptr<void> library, HANDLE handle) noexcept
        : m_library(std::move(library)), m_api(api), m_handle(handle)
    {
    }

    NativeWlanClient(const NativeWlanClient&) = delete;
    NativeWlanClient& operator=(const NativeWlanClient&) = delete;

    ~NativeWlanClient() override
    {
        m_api.closeHandle(m_handle, nullptr);
    }

    std::vector<WlanInterface> EnumerateInterfaces() override
    {
        m_listed.clear();
        WLAN_INTERFACE_INFO_LIST* raw = nullptr;
        const DWORD result = m_api.enumInterfaces(m_handle, nullptr, &raw);
        const auto list = Own(raw);
        if (result != ERROR_SUCCESS)
        {
            throw Shared::Exception::Win32Exception("WlanEnumInterfaces() failed", result);
        }
        std::vector<WlanInterface> interfaces;
        for (DWORD i = 0; list != nullptr && i < list->dwNumberOfItems; ++i)
        {
            const auto& info = list->InterfaceInfo[i];
            interfaces.push_back({ToText(info.InterfaceGuid), static_cast<InterfaceState>(info.isState)});
            m_listed.emplace_back(interfaces.back().id, info.InterfaceGuid);
        }
        return interfaces;
    }

    std::optional<WlanConnection> QueryConnection(const WlanInterface& wlanInterface) override
    {
        // What stands behind the association is not looked at, so its size does not matter.
        constexpr std::size_t needed =
            offsetof(WLAN_CONNECTION_ATTRIBUTES, wlanAssociationAttributes) + sizeof(WLAN_ASSOCIATION_ATTRIBUTES);
        const auto data = Query(wlanInterface, wlan_intf_opcode_current_connection, needed);
        if (data == nullptr)
        {
            return std::nullopt;
        }
        return ReadConnection(static_cast<const WLAN_CONNECTION_ATTRIBUTES*>(data.get())->wlanAssociationAttributes);
    }

    std::optional<std::uint32_t> QueryChannel(const WlanInterface& wlanInterface) override
    {
        const auto data = Query(wlanInterface, wlan_intf_opcode_channel_number, sizeof(ULONG));
        if (data == nullptr)
        {
            return std::nullopt;
        }
        return *static_cast<const ULONG*>(data.get());
    }

private:
    struct FreeMemory
    {
        decltype(&::WlanFreeMemory) function;

        void operator()(void* memory) const noexcept
        {
            function(memory);
        }
    };

    template <typename T>
    std::unique_ptr<T, FreeMemory> Own(T* memory) const noexcept
    {
        return {memory, FreeMemory{m_api.freeMemory}};
    }

    /// What the system tells; null when it fails or tells less than `needed` bytes.
    std::unique_ptr<void, FreeMemory> Query(
        const WlanInterface& wlanInterface, WLAN_INTF_OPCODE code, std::size_t needed)
    {
        const auto listed = std::find_if(
            m_listed.begin(), m_listed.end(), [&](const auto& entry) { return entry.first == wlanInterface.id; });
        if (listed == m_listed.end())
        {
            return Own<void>(nullptr);
        }
        DWORD size = 0;
        void* raw = nullptr;
        const DWORD result = m_api.queryInterface(m_handle, &listed->second, code, nullptr, &size, &raw, nullptr);
        auto data = Own(raw);
        return result == ERROR_SUCCESS && size >= needed ? std::move(data) : Own<void>(nullptr);
    }

    std::shared_ptr<void> m_library;
    WlanApi m_api;
    HANDLE m_handle;
    /// GUIDs of the last enumeration, by their texts.
    std::vector<std::pair<std::string, GUID>> m_listed;
};

template <typename Function>
bool Find(HMODULE module, const char* name, Function& function) noexcept
{
    const FARPROC address = ::GetProcAddress(module, name);
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
    return function != nullptr;
}

bool FindAll(HMODULE module, WlanApi& api) noexcept
{
    return Find(module, "WlanOpenHandle", api.openHandle) && Find(module, "WlanCloseHandle", api.closeHandle) &&
        Find(module, "WlanEnumInterfaces", api.enumInterfaces) &&
        Find(module, "WlanQueryInterface", api.queryInterface) && Find(module, "WlanFreeMemory", api.freeMemory);
}

} // namespace

std::unique_ptr<WlanClient> OpenWlanClient(const WlanApi& api, std::shared_ptr<void> library)
{
    DWORD version = 0;
    HANDLE handle = nullptr;
    if (api.openHandle(ClientVersion, nullptr, &version, &handle) != ERROR_SUCCESS)
    {
        return nullptr;
    }
    return std::make_unique<NativeWlanClient>(api, std::move(library), handle);
}

std::unique_ptr<WlanClient> OpenWlanClient()
{
    const HMODULE module = ::LoadLibraryExW(L"wlanapi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (module == nullptr)
    {
        return nullptr;
    }
    std::shared_ptr<void> library{
        module,
        [](void* loaded)
        {
            ::FreeLibrary(static_cast<HMODULE>(loaded));
        }};
    WlanApi api;
    return FindAll(module, api) ? OpenWlanClient(api, std::move(library)) : nullptr;
}

} // namespace AgentCore::Wlan
