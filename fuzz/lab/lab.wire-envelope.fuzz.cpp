// Any bytes as an envelope: both readings of the schema, the laboratory's and the generated classes', say the same of them,
// and a good one comes back from its encoding.

#include "fuzz.require.hpp"
#include "lab.wire-envelope.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <google/protobuf/stubs/logging.h>

#include <wire_protocol_v4.pb.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;

std::optional<Lab::Wire::Envelope> Decode(std::string_view bytes)
{
    try
    {
        return Lab::Wire::Decode(bytes);
    }
    catch (const Lab::Wire::EnvelopeError&)
    {
        return std::nullopt;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A text that is no UTF-8 would be reported by a line for each input.
    static const google::protobuf::LogSilencer s_silence;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    VelRouter::V4_Message message;
    const bool isGood = message.ParseFromString(bytes);
    const std::optional<Lab::Wire::Envelope> envelope = Decode(bytes);
    Require(envelope.has_value() == isGood);
    if (envelope)
    {
        message.DiscardUnknownFields();
        const std::string encoded = Lab::Wire::Encode(*envelope);
        Require(encoded == message.SerializeAsString());
        Require(Decode(encoded) == envelope);
    }
    return 0;
}
