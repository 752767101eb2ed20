#include "lab.wire-names.hpp"

#include <array>

namespace Lab::Wire
{

namespace
{

struct Name
{
    std::uint32_t msgId;
    std::string_view text;
};

constexpr std::array<Name, 17> Names = {
    {{MsgId::RouterOnlineStatusChange, "online status change"},
     {MsgId::RouterFeatures, "router features"},
     {MsgId::RouterRemoteSubscriptions, "remote subscriptions"},
     {MsgId::ConfigGet2Request, "configuration request"},
     {MsgId::ConfigGet2Response, "configuration"},
     {MsgId::ConfigAttachResult, "attach result"},
     {MsgId::ConfigChanges, "configuration changes"},
     {MsgId::RegisterRequest, "registration request"},
     {MsgId::StartupRequest, "startup"},
     {MsgId::PollRequest, "poll"},
     {MsgId::HistoricPollRequest, "historic poll"},
     {MsgId::RegisterResponse, "registration answer"},
     {MsgId::StartupResponse, "startup answer"},
     {MsgId::PollResponse, "poll answer"},
     {MsgId::CheckForUpdatesRequest, "check for updates"},
     {MsgId::UserGroupsRequest, "user groups request"},
     {MsgId::UserGroupsNotification, "user groups"}}};

} // namespace

std::string_view NameOf(std::uint32_t msgId) noexcept
{
    for (const Name& name : Names)
    {
        if (name.msgId == msgId)
        {
            return name.text;
        }
    }
    return "message";
}

} // namespace Lab::Wire
