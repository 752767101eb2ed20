#include "lab.cloud-request.hpp"

#include "lab.json-functions.hpp"
#include "lab.wire-names.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Lab::Cloud
{

namespace
{

namespace MsgId = Wire::MsgId;

struct KnownRequest
{
    RequestKind kind;
    std::uint32_t request;
    /// By which a request for configuration is known; empty of all others.
    std::string_view path;
};

constexpr std::array<KnownRequest, 11> KnownRequests = {
    {{RequestKind::Startup, MsgId::StartupRequest, ""},
     {RequestKind::NetworkObjects, MsgId::ConfigGet2Request, "/config/network_object"},
     {RequestKind::Tests, MsgId::ConfigGet2Request, "/config/tests"},
     {RequestKind::Tags, MsgId::ConfigGet2Request, "/config/tags"},
     {RequestKind::UserGroups, MsgId::UserGroupsRequest, ""},
     {RequestKind::Mtr, MsgId::ConfigGet2Request, "/config/mtr"},
     {RequestKind::Curl, MsgId::ConfigGet2Request, "/config/curl"},
     {RequestKind::Ete, MsgId::ConfigGet2Request, "/config/ete"},
     {RequestKind::InstanceAgent, MsgId::ConfigGet2Request, "/config/agent"},
     {RequestKind::AccountAgent, MsgId::ConfigGet2Request, "/config/account/agent"},
     {RequestKind::Poll, MsgId::PollRequest, ""}}};

/// What a request for configuration asks for; nothing when it is no JSON.
std::vector<std::string> AllPathsOf(const std::string& payload)
{
    std::vector<std::string> paths;
    try
    {
        const rapidjson::Document request = Json::Parse(payload);
        paths = PathsOf(request, "trees");
        for (std::string& key : PathsOf(request, "keys"))
        {
            paths.push_back(std::move(key));
        }
    }
    catch (const Json::JsonError&)
    {
        // It asks for nothing.
    }
    return paths;
}

} // namespace

std::optional<RequestKind> KindOf(const Wire::Envelope& envelope)
{
    const std::vector<std::string> paths =
        envelope.msgId == MsgId::ConfigGet2Request ? AllPathsOf(envelope.payload) : std::vector<std::string>();
    const auto* const found = std::find_if(
        KnownRequests.begin(), KnownRequests.end(),
        [&](const KnownRequest& known)
        {
            return known.request == envelope.msgId &&
                (known.path.empty() || std::find(paths.begin(), paths.end(), known.path) != paths.end());
        });
    return found == KnownRequests.end() ? std::nullopt : std::optional(found->kind);
}

bool IsForConfiguration(RequestKind kind) noexcept
{
    return std::any_of(
        KnownRequests.begin(), KnownRequests.end(),
        [&](const KnownRequest& known) { return known.kind == kind && !known.path.empty(); });
}

std::vector<std::string> PathsOf(const rapidjson::Value& request, std::string_view member)
{
    std::vector<std::string> paths;
    const rapidjson::Value* const list = Json::FindMember(request, member);
    if (list != nullptr && list->IsArray())
    {
        for (const rapidjson::Value& entry : list->GetArray())
        {
            if (entry.IsString())
            {
                paths.emplace_back(entry.GetString(), entry.GetStringLength());
            }
        }
    }
    return paths;
}

} // namespace Lab::Cloud
