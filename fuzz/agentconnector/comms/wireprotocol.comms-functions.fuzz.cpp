// Bytes of any kind as a message of the pipe, and as the payload of one that goes out.
// What is decoded is encoded and decoded again and must be the same; what is refused must be refused in the told way.
// A payload that was serialised must come back out of its frame as it went in.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <lz4frame.h>

#include "fuzz.require.hpp"
#include "fuzz.silence.hpp"
#include "shared.exception-exceptions.hpp"
#include "wireprotocol.comms-functions.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;

std::vector<std::uint8_t> ToBytes(std::string_view text)
{
    std::vector<std::uint8_t> bytes(text.size());
    if (!text.empty())
    {
        std::memcpy(bytes.data(), text.data(), text.size());
    }
    return bytes;
}

void CheckInbound(const std::vector<std::uint8_t>& bytes)
{
    using namespace WireProtocol::Comms;
    try
    {
        const VelRouter::V4_Message message = DecodeRouterMessage(bytes);
        const VelRouter::V4_Message again = DecodeRouterMessage(ToBytes(message.SerializeAsString()));
        Require(again.SerializeAsString() == message.SerializeAsString());
        const bool isAcknowledgement = IsAcknowledgement(message);
        const InboundMessage inbound = RouterMessageToInboundMessage(message);
        Require(inbound.SeqNum == message.seq_num() && inbound.MsgId == message.msg_id());
        Require(inbound.Payload == message.payload() && inbound.Flags == message.flags());
        Require((inbound.DeliveryFailed != 0) == (message.status() != 0));
        Require(!isAcknowledgement || (inbound.Flags == 1 && inbound.DeliveryFailed == 0));
    }
    catch (const Shared::Exception::RuntimeException& exception)
    {
        Require(std::string_view(exception.what()).ends_with("Failed to decode VelRouter::V4_Message."));
        VelRouter::V4_Message bare;
        Require(!bare.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    }
}

std::string Decompress(std::string_view frame, std::size_t size)
{
    LZ4F_dctx* context = nullptr;
    Require(LZ4F_isError(LZ4F_createDecompressionContext(&context, LZ4F_VERSION)) == 0);
    // One byte more than expected, so that a longer content shows.
    std::string text(size + 1, '\0');
    std::size_t consumed = frame.size();
    std::size_t produced = text.size();
    const std::size_t wanted = LZ4F_decompress(context, text.data(), &produced, frame.data(), &consumed, nullptr);
    LZ4F_freeDecompressionContext(context);
    Require(wanted == 0 && consumed == frame.size());
    text.resize(produced);
    return text;
}

void CheckOutbound(std::string_view payload)
{
    using namespace WireProtocol::Comms;
    const auto number = static_cast<std::uint32_t>(payload.size());
    const VelRouter::V4_Message message = DecodeRouterMessage(Serialise(number, number + 1, payload, number + 2, 0));
    Require(message.msg_id() == number && message.dst_comp() == number + 1 && message.seq_num() == number + 2);
    Require(payload.empty() ? message.payload().empty() : Decompress(message.payload(), payload.size()) == payload);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Fuzz::Silence s_silence;
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckInbound(ToBytes(text));
    CheckOutbound(text);
    return 0;
}
