#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "agentcore.tests-icmpecho.hpp"

namespace AgentCore::Tests
{

/// The outcome of one echo. All but `replied` is 0 or empty when there was no answer.
struct PingResult
{
    /// Whole milliseconds.
    std::uint32_t roundTripMs = 0;
    /// Bytes of payload that came back.
    std::uint16_t dataSize = 0;
    /// The system's IP status, 0 for success; 11002 and above for what routers and hosts on the way have against it.
    std::uint32_t status = 0;
    /// Whether there was an answer, an error of somebody on the way included.
    bool replied = false;
    /// Who answered.
    std::wstring replyAddress;
};

/// The addresses of a host in text form, empty for a family in which it has none.
struct HostAddresses
{
    std::wstring ipv4;
    std::wstring ipv6;
};

/// Asks the system for the addresses of a host, and waits as long as that takes. Of several in one family the last counts.
/// An address as a name is its own address. A name that is empty or holds a null character is nobody's.
/// Throws Win32Exception "GetAddrInfoW failed with error". Any thread; Windows wants sockets initialised.
HostAddresses HostNameToAddresses(const std::wstring& hostName);

/// Sends one echo request and waits for its answer, for the time that the settings give to pings. Never throws for an
/// unanswered one, an address that is none, or a system that does not let it be sent: the log tells, and the result is
/// empty. Any thread.
/// @param options null for the system's
PingResult DoIpV4Ping(const std::wstring& address, const PingOptions* options = nullptr);

/// The same by the given services.
PingResult DoIpV4Ping(const std::wstring& address, const PingOptions* options, const IcmpService& service);

/// Bytes that the answer to an echo request may take, whatever the answer is.
std::size_t GetReplyBufferSize(std::size_t payloadSize, const PingOptions* options) noexcept;

} // namespace AgentCore::Tests
