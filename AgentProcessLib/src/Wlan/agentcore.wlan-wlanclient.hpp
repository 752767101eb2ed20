#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace AgentCore::Wlan
{

/// States of wireless interfaces, with the numbers of Windows. Linux knows Connected, Disconnected and Authenticating.
enum class InterfaceState : std::uint32_t
{
    NotReady = 0,
    Connected = 1,
    AdHocNetworkFormed = 2,
    Disconnecting = 3,
    Disconnected = 4,
    Associating = 5,
    Discovering = 6,
    Authenticating = 7
};

/// Kinds of wireless links, with the numbers of the standard's management information base, which Windows uses.
enum class PhyType : std::uint32_t
{
    Unknown = 0,
    Dsss = 2,
    Ofdm = 4,
    HighRateDsss = 5,
    ExtendedRate = 6,
    HighThroughput = 7,
    VeryHighThroughput = 8,
    DirectionalMultiGigabit = 9,
    HighEfficiency = 10,
    ExtremelyHighThroughput = 11
};

/// A wireless interface of this machine.
struct WlanInterface
{
    /// GUID with braces on Windows, the interface's name on Linux. Not necessarily UTF-8.
    std::string id;
    InterfaceState state = InterfaceState::NotReady;

    bool operator==(const WlanInterface&) const = default;
};

/// The link of a connected interface.
struct WlanConnection
{
    /// The network's name as it is sent, which may be any bytes; 32 at most.
    std::string ssid;
    std::array<std::uint8_t, 6> bssid{};
    /// May have other values than those that have names, too.
    PhyType phyType = PhyType::Unknown;
    /// 0 to 100.
    std::uint32_t quality = 0;
    /// Kilobits per second; 0 when the driver does not tell.
    std::uint32_t receiveRate = 0;
    std::uint32_t transmitRate = 0;

    bool operator==(const WlanConnection&) const = default;
};

/// A session with the system's wireless service, which is closed on destruction. Used by one thread at a time.
class WlanClient
{
public:
    WlanClient() = default;
    WlanClient(const WlanClient&) = delete;
    WlanClient& operator=(const WlanClient&) = delete;
    virtual ~WlanClient() = default;

    /// The machine's wireless interfaces in the system's order. Throws Win32Exception with the system's code.
    virtual std::vector<WlanInterface> EnumerateInterfaces() = 0;

    /// The link of an interface that the last enumeration listed; nothing when it has none, is gone, or does not tell.
    virtual std::optional<WlanConnection> QueryConnection(const WlanInterface& wlanInterface) = 0;

    /// The number of the channel that such an interface uses; nothing as above.
    virtual std::optional<std::uint32_t> QueryChannel(const WlanInterface& wlanInterface) = 0;
};

/// Opens a session; null when the machine has no wireless service. Never throws but for lack of memory.
std::unique_ptr<WlanClient> OpenWlanClient();

} // namespace AgentCore::Wlan
