#include "wireprotocol.comms-functions.hpp"

#include "wireprotocol.comms-compression.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.protobuf-functions.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include <comms_protocol.pb.h>
#include <component.pb.h>
#include <config_mgr.pb.h>
#include <fmt/format.h>
#include <msg_ids.pb.h>

namespace WireProtocol::Comms
{

namespace
{

/// The address of every agent: the last group is the decimal number of COMPONENT_AGENT_CLIENT.
constexpr const char* AgentComponentUuid = "00000000-0000-f000-f000-000000000055";
/// Stands for the instance that asks.
constexpr const char* OwnInstanceUuid = "ffffffff-ffff-ffff-ffff-ffffffffffff";

struct MessageName
{
    Messages::MsgIds id;
    const char* name;
};

// Historic polls have no name in the log, so that they are told from polls at a glance.
constexpr std::array<MessageName, 11> MessageNames = {
    {{Messages::MSGIDS_CONFIG_GET2_REQUEST, "MSGIDS_CONFIG_GET2_REQUEST"},
     {Messages::MSGIDS_CONFIG_GET2_RESPONSE, "MSGIDS_CONFIG_GET2_RESPONSE"},
     {Messages::MSGIDS_CONFIG_ATTACH_INSTANCE, "MSGIDS_CONFIG_ATTACH_INSTANCE"},
     {Messages::MSGIDS_CONFIG_ATTACH_RESULT, "MSGIDS_CONFIG_ATTACH_RESULT"},
     {Messages::MSGIDS_AGENT_REGISTER_REQUEST, "MSGIDS_AGENT_REGISTER_REQUEST"},
     {Messages::MSGIDS_AGENT_STARTUP_REQUEST, "MSGIDS_AGENT_STARTUP_REQUEST"},
     {Messages::MSGIDS_AGENT_POLL_REQUEST, "MSGIDS_AGENT_POLL_REQUEST"},
     {Messages::MSGIDS_AGENT_REGISTER_RESPONSE, "MSGIDS_AGENT_REGISTER_RESPONSE"},
     {Messages::MSGIDS_AGENT_STARTUP_RESPONSE, "MSGIDS_AGENT_STARTUP_RESPONSE"},
     {Messages::MSGIDS_AGENT_POLL_RESPONSE, "MSGIDS_AGENT_POLL_RESPONSE"},
     {Messages::MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST, "MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST"}}};

std::vector<std::uint8_t> ToBytes(const VelRouter::V4_Message& message)
{
    const std::size_t size = message.ByteSizeLong();
    constexpr std::size_t LargestMessage = std::numeric_limits<int>::max();
    std::vector<std::uint8_t> bytes(size <= LargestMessage ? size : 0);
    if (size > LargestMessage || !message.SerializeToArray(bytes.data(), static_cast<int>(size)))
    {
        throw Shared::Exception::RuntimeException("SerializeToArray() failed");
    }
    return bytes;
}

} // namespace

std::vector<std::uint8_t> Serialise(
    std::uint32_t msgId, std::uint32_t dstComp, std::string_view payload, std::uint32_t seqNum, std::uint32_t flags)
{
    Shared::Log::Info(
        "Serialised message:\n  MsgId: {}\n  SeqNum: {}\n  Payload: {}", FormatMessageId(msgId), seqNum, payload);
    VelRouter::V4_Message message;
    message.set_seq_num(seqNum);
    message.set_msg_id(msgId);
    message.set_src_comp(COMPONENT_AGENT_CLIENT);
    message.set_dst_comp(dstComp);
    message.set_src_comp_uuid(AgentComponentUuid);
    message.set_flags(flags | FLAGS_COMPRESSED_LZ4);
    message.set_payload(CompressFrame(payload));
    return ToBytes(message);
}

std::vector<std::uint8_t> SerialiseConfigGet2Request(
    std::uint32_t seqNum, const std::string& tree, const std::vector<std::string>& keys, std::uint32_t account)
{
    ConfigGet2Request request;
    request.set_uuid(OwnInstanceUuid);
    request.set_include_hashes(true);
    request.set_include_kv_pairs(false);
    request.set_account(account);
    if (!tree.empty())
    {
        request.add_trees(tree);
    }
    for (const std::string& key : keys)
    {
        request.add_keys(key);
    }
    return Serialise(
        Messages::MSGIDS_CONFIG_GET2_REQUEST, COMPONENT_CFGMGR, Shared::Protobuf::GenerateJSONFrom(request), seqNum,
        FLAGS_NONE);
}

VelRouter::V4_Message DecodeRouterMessage(const std::vector<std::uint8_t>& bytes)
{
    VelRouter::V4_Message message;
    constexpr std::size_t LargestMessage = std::numeric_limits<int>::max();
    if (bytes.size() > LargestMessage || !message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
    {
        throw Shared::Exception::RuntimeException("Failed to decode VelRouter::V4_Message.");
    }
    return message;
}

InboundMessage RouterMessageToInboundMessage(VelRouter::V4_Message message)
{
    InboundMessage inbound;
    if (message.status() != DELIVERY_STATUS_SUCCESS)
    {
        Shared::Log::Error("The server responded with a delivery failure: {}", message.status());
        inbound.DeliveryFailed = 1;
    }
    inbound.SeqNum = message.seq_num();
    inbound.MsgId = message.msg_id();
    inbound.Payload = std::move(*message.mutable_payload());
    inbound.Flags = message.flags();
    inbound.ReceivedAt = Shared::Time::MonotonicNow();
    return inbound;
}

bool IsAcknowledgement(const VelRouter::V4_Message& message)
{
    return message.flags() == FLAGS_ACK && message.status() == DELIVERY_STATUS_SUCCESS;
}

std::string FormatMessageId(std::uint32_t msgId)
{
    const auto* const found = std::find_if(
        MessageNames.begin(), MessageNames.end(),
        [msgId](const MessageName& candidate) { return static_cast<std::uint32_t>(candidate.id) == msgId; });
    return fmt::format("{} ({})", found == MessageNames.end() ? "unknown" : found->name, msgId);
}

} // namespace WireProtocol::Comms
