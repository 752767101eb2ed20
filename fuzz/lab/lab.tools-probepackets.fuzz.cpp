// Any bytes as a packet that has arrived, behind one byte that says of which kind the probes are. What is taken for an answer
// is one: whoever it says has sent it, and the probe of its number, quoted as a router would, is recognised as that probe.

#include "fuzz.require.hpp"
#include "lab.tools-probepackets.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using Lab::Tools::Flow;
using Lab::Tools::ProbeKind;
using Lab::Tools::ProbeReply;

Flow MakeFlow(std::uint8_t kind)
{
    constexpr ProbeKind Kinds[] = {ProbeKind::Echo, ProbeKind::Datagram, ProbeKind::ConnectionRequest};
    return {Kinds[kind % 3], {192, 0, 2, 1}, {198, 51, 100, 7}, 40'000, 80};
}

/// The same answer by another way: the whole probe, in a message that its time is over.
void CheckProbe(const Flow& flow, const ProbeReply& reply)
{
    std::vector<std::uint8_t> packet = {0x45, 0, 0,   0, 0, 0, 0,  0, 64, 1, 0, 0, 0, 0,
                                        0,    0, 192, 0, 2, 1, 11, 0, 0,  0, 0, 0, 0, 0};
    std::copy(reply.from.begin(), reply.from.end(), packet.begin() + 12);
    for (const std::uint8_t byte : Lab::Tools::MakeProbe(flow, reply.sequence, 1))
    {
        packet.push_back(byte);
    }
    Require(Lab::Tools::ReadReply(packet, flow) == ProbeReply{reply.sequence, reply.from, false});
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const Flow flow = MakeFlow(data[0]);
    const std::optional<ProbeReply> reply = Lab::Tools::ReadReply({data + 1, size - 1}, flow);
    if (reply)
    {
        Require(size > 28 && std::equal(reply->from.begin(), reply->from.end(), data + 1 + 12));
        CheckProbe(flow, *reply);
    }
    return 0;
}
