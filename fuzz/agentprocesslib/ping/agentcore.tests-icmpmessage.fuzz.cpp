// Any datagram as what comes back to a ping, with its IP header and without, and as the start of what an error quotes.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "agentcore.tests-icmpmessage.hpp"
#include "fuzz.require.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace AgentCore::Tests::Icmp;
using Bytes = std::span<const std::uint8_t>;

constexpr std::array<std::uint8_t, 14> Payload = {'I', 'C', 'M', 'P', ' ', 'S', 'E', 'N', 'D', ' ', 'D', 'A', 'T', 'A'};

/// The key that the message itself tells, so that replies are met at all.
EchoKey KeyOf(Bytes message)
{
    if (message.size() < 8)
    {
        return {};
    }
    return {
        static_cast<std::uint16_t>(message[4] << 8 | message[5]),
        static_cast<std::uint16_t>(message[6] << 8 | message[7])};
}

void CheckMessage(Bytes message)
{
    const auto key = KeyOf(message);
    const auto dataSize = ReadEchoReply(message, key, Payload);
    Require(!dataSize || *dataSize == std::min<std::size_t>(message.size() - 8, 65535));
    Require(!dataSize || !IsEchoRequest(message, key));
    const EchoKey other{static_cast<std::uint16_t>(key.identifier ^ 1), key.sequence};
    Require(!ReadEchoReply(message, other, Payload));
    Require(!IsEchoRequest(message, other));
}

/// A request with these bytes as its payload is known as such, whole and cut, and its reply brings them back.
void CheckRoundTrip(Bytes payload)
{
    const EchoKey key{0x1234, static_cast<std::uint16_t>(payload.size())};
    auto message = BuildEchoRequest(key, payload);
    Require(ComputeChecksum(message) == 0);
    Require(IsEchoRequest(message, key));
    Require(IsEchoRequest(Bytes{message}.first(8), key));
    message[0] = 0;
    Require(ReadEchoReply(message, key, payload) == std::min<std::size_t>(payload.size(), 65535));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Bytes datagram{data, size};
    CheckMessage(datagram);
    const auto behind = SkipIpHeader(datagram);
    Require(behind.empty() || (behind.data() > data && behind.data() + behind.size() == data + size));
    CheckMessage(behind);
    CheckRoundTrip(datagram);
    if (size >= 2)
    {
        Require(ToIpStatus(data[0], data[1]).value_or(11002) >= 11002);
    }
    return 0;
}
