#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <config.pb.h>

/// What the agent keeps of the configuration that the server sends. Plain values, copied whole with the state of the main
/// loop. Texts are UTF-8, as the server sent them.
namespace AgentCore::Messaging
{

/// Something that is tested: a service, under the addresses by which it is reached.
struct NetworkObject
{
    std::string id;
    /// What the tests know it by.
    std::string uuid;
    std::string name;
    /// Without repetitions, as are `ips`.
    std::vector<std::string> domains;
    std::vector<std::string> ips;

    bool operator==(const NetworkObject&) const = default;
};

/// A mark that the server has put on this agent. Tests name the marks of the agents that are to run them.
struct Tag
{
    /// What tests name: "/config/tags/" and the id.
    std::string key;
    std::string value;
    std::string id;

    bool operator==(const Tag&) const = default;
};

/// A test of the path to a network object.
struct MtrTest
{
    /// Prefix of the kind, and the id: under this the test stands in the TestMap.
    std::string key;
    std::string id;
    /// `uuid` of the network object.
    std::string netobj;
    std::string l4Protocol;
    std::int32_t port = 0;
    std::int32_t reportCycles = 0;
    std::int64_t interval = 0;
    bool runFromTrustedNetworks = false;
    bool runFromUntrustedNetworksWithVpnDisabled = false;
    /// Told by the server, and decides nothing.
    bool runOnActivePathsOnly = false;

    bool operator==(const MtrTest&) const = default;
};

/// A test of a web service.
struct CurlTest
{
    std::string key;
    std::string id;
    std::string netobj;
    std::string protocol;
    std::string path;
    bool ignoreSsl = false;
    std::vector<std::string> successCodes;
    std::vector<std::string> headers;
    /// 0: the protocol's own.
    std::int32_t port = 0;
    bool runFromTrustedNetworks = false;
    bool runFromUntrustedNetworksWithVpnDisabled = false;
    bool runOnActivePathsOnly = false;

    bool operator==(const CurlTest&) const = default;
};

/// One address of one end-to-end test.
struct TestConfiguration
{
    MtrTest test;
    /// A domain or an IP address of the network object.
    std::wstring target;
    std::wstring networkObjectUuid;
    /// `id` of the test.
    std::wstring testKey;
    std::wstring protocol;
    std::int32_t port = 0;
    /// Whether a web test has the same network object.
    bool hasCurlTest = false;

    bool operator==(const TestConfiguration&) const = default;
};

/// By key: whether a test is switched on, and its place among the others.
using TestMap = std::map<std::string, Config::Test, std::less<>>;

} // namespace AgentCore::Messaging
