#include "schemas.descriptors.hpp"

#include <algorithm>

#include "agent_kinds.pb.h"
#include "comms_protocol.pb.h"
#include "component.pb.h"
#include "config.pb.h"
#include "config_mgr.pb.h"
#include "hardware.pb.h"
#include "msg_ids.pb.h"
#include "network.pb.h"
#include "poll.pb.h"
#include "register.pb.h"
#include "samples.pb.h"
#include "self_service.pb.h"
#include "startup.pb.h"
#include "temporal_value.pb.h"
#include "test_results.pb.h"
#include "user_groups.pb.h"
#include "wire_protocol_v4.pb.h"

namespace Schemas
{

namespace
{

void AddWithInner(std::vector<const google::protobuf::Descriptor*>& all, const google::protobuf::Descriptor* message)
{
    all.push_back(message);
    for (int i = 0; i < message->nested_type_count(); ++i)
    {
        AddWithInner(all, message->nested_type(i));
    }
}

template <typename Descriptor>
void SortByName(std::vector<const Descriptor*>& descriptors)
{
    std::sort(
        descriptors.begin(), descriptors.end(),
        [](const auto* first, const auto* second) { return first->full_name() < second->full_name(); });
}

} // namespace

std::vector<const google::protobuf::FileDescriptor*> AllFiles()
{
    return {
        AgentClass_descriptor()->file(),
        Bios::descriptor()->file(),
        Component_descriptor()->file(),
        Config::Test::descriptor()->file(),
        ConfigGet2Request::descriptor()->file(),
        CpuSnapshot::descriptor()->file(),
        Flags_descriptor()->file(),
        Messages::MsgIds_descriptor()->file(),
        MtrTestResult::descriptor()->file(),
        NetworkInterface::descriptor()->file(),
        Notification::descriptor()->file(),
        Poll::descriptor()->file(),
        Register::descriptor()->file(),
        Startup::descriptor()->file(),
        TemporalValue::descriptor()->file(),
        UserGroups::descriptor()->file(),
        VelRouter::V4::descriptor()->file()};
}

std::vector<const google::protobuf::Descriptor*> AllMessages()
{
    std::vector<const google::protobuf::Descriptor*> messages;
    for (const auto* file : AllFiles())
    {
        for (int i = 0; i < file->message_type_count(); ++i)
        {
            AddWithInner(messages, file->message_type(i));
        }
    }
    SortByName(messages);
    return messages;
}

std::vector<const google::protobuf::EnumDescriptor*> AllEnums()
{
    std::vector<const google::protobuf::EnumDescriptor*> enums;
    for (const auto* file : AllFiles())
    {
        for (int i = 0; i < file->enum_type_count(); ++i)
        {
            enums.push_back(file->enum_type(i));
        }
    }
    SortByName(enums);
    return enums;
}

} // namespace Schemas
