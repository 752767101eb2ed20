#pragma once

#include <array>
#include <string_view>

/// What the agent asks its server for before it selects its tests.
namespace Tools::VelExplain
{

/// In the order of the chain.
enum class Request
{
    NetworkObjects,
    Tests,
    Tags,
    UserGroups,
    Mtr,
    Curl,
    Ete
};

struct RequestRow
{
    Request request;
    /// For people.
    std::string_view name;
    /// Names a file with the answer.
    std::string_view option;
    /// What a request for configuration asks for; empty for the groups, which are asked for by a message of their own.
    std::string_view tree;
    std::string_view key;
};

inline constexpr std::array<RequestRow, 7> Requests{
    {{Request::NetworkObjects, "network objects", "--network-objects", "/config/network_object", {}},
     {Request::Tests, "tests", "--tests", {}, "/config/tests"},
     {Request::Tags, "tags", "--tags", "/config/tags", {}},
     {Request::UserGroups, "user groups", "--user-groups", {}, {}},
     {Request::Mtr, "MTR", "--mtr", "/config/mtr", {}},
     {Request::Curl, "curl", "--curl", "/config/curl", {}},
     {Request::Ete, "ETE", "--ete", "/config/ete", {}}}};

enum class TestKind
{
    Mtr,
    Ete,
    Curl
};

struct TestKindRow
{
    TestKind kind;
    /// For people.
    std::string_view name;
    /// For scripts, and behind --only.
    std::string_view word;
    Request request;
};

/// In the order in which they are shown.
inline constexpr std::array<TestKindRow, 3> TestKinds{
    {{TestKind::Mtr, "MTR", "mtr", Request::Mtr},
     {TestKind::Ete, "ETE", "ete", Request::Ete},
     {TestKind::Curl, "curl", "curl", Request::Curl}}};

} // namespace Tools::VelExplain
