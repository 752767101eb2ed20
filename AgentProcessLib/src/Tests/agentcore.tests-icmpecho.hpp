#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agentcore.tests-icmpmessage.hpp"

/// What the system does for a ping: the seam under DoIpV4Ping().
namespace AgentCore::Tests
{

/// What an echo request may say to the routers on its way.
struct PingOptions
{
    /// Hops; 1 to 255.
    std::uint8_t timeToLive = 128;
    std::uint8_t typeOfService = 0;
    bool doNotFragment = false;
    /// Options of the IP header as they are sent: at most 40 bytes.
    std::vector<std::uint8_t> headerOptions;
};

/// The answer to an echo request: a reply, or the error of somebody on its way.
struct EchoAnswer
{
    Icmp::IpV4Address address{};
    /// Icmp::StatusSuccess, or why there is no reply.
    std::uint32_t status = Icmp::StatusSuccess;
    /// Whole milliseconds, cut.
    std::uint32_t roundTripMs = 0;
    /// Bytes of payload that came back.
    std::uint16_t dataSize = 0;
};

/// One open way to send echo requests. Used by one thread; closed on destruction at the latest.
class IcmpHandle
{
public:
    IcmpHandle() = default;
    IcmpHandle(const IcmpHandle&) = delete;
    IcmpHandle& operator=(const IcmpHandle&) = delete;
    virtual ~IcmpHandle() = default;

    /// Sends one echo request and waits for its answer. Nothing when none came in time, or when the system could not send:
    /// no route, a filter, options that it refuses.
    /// @param options         null for the system's
    /// @param replyBufferSize bytes; what a longer answer brings is cut
    /// @param timeoutMs       milliseconds of the agent's clock
    virtual std::optional<EchoAnswer> SendEcho(
        const Icmp::IpV4Address& address,
        std::span<const std::uint8_t> payload,
        const PingOptions* options,
        std::size_t replyBufferSize,
        std::uint32_t timeoutMs) = 0;

    /// Throws Win32Exception "IcmpCloseHandle() failed"; the handle is gone then, too.
    virtual void Close() = 0;
};

/// What came of reading an address.
enum class AddressReading
{
    Valid,
    Invalid,
    /// The system could not say.
    Failed
};

/// The system's services for pings. Any thread; has no state.
class IcmpService
{
public:
    IcmpService() = default;
    IcmpService(const IcmpService&) = delete;
    IcmpService& operator=(const IcmpService&) = delete;
    virtual ~IcmpService() = default;

    /// Reads four numbers with dots between them into `address`. For AddressReading::Failed, the system's code is put into
    /// `error`.
    virtual AddressReading ParseAddress(
        const std::wstring& text, Icmp::IpV4Address& address, std::uint32_t& error) const = 0;

    /// Throws Win32Exception "IcmpCreateFile() failed". Linux: a socket for echo requests of everybody, where the
    /// administrator grants these to the agent's group; else a raw one, for which root or the capability is needed.
    virtual std::unique_ptr<IcmpHandle> Open() const = 0;

    /// The address in text form; empty when the system has none.
    virtual std::wstring FormatAddress(const Icmp::IpV4Address& address) const = 0;
};

/// The system's own.
const IcmpService& GetIcmpService() noexcept;

} // namespace AgentCore::Tests
