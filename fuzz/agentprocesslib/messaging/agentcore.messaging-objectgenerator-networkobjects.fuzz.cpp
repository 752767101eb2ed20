// Any text as an answer with network objects. Each entry with a name has its record, in order, with all of its addresses
// and none twice. Then the addresses of tests that name these objects: as many as a count by plain loops.

#include "agentcore.messaging-objectgenerator.hpp"
#include "agentcore.messaging-testconfigurations.hpp"
#include "fuzz.configurationanswers.hpp"
#include "fuzz.silence.hpp"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using AgentCore::Messaging::CurlTest;
using AgentCore::Messaging::MtrTest;
using AgentCore::Messaging::NetworkObject;

using namespace Fuzz;

void CheckAddresses(const std::vector<std::string>& addresses, const RapidJsonValue& list)
{
    std::vector<std::string> expected;
    for (const std::string& text : Texts(list))
    {
        if (std::find(expected.begin(), expected.end(), text) == expected.end())
        {
            expected.push_back(text);
        }
    }
    Require(addresses == expected);
}

void CheckObjects(const std::vector<NetworkObject>& objects, const RapidJsonDocument& answer)
{
    std::size_t count = 0;
    for (const RapidJsonMember& entry : FirstEntries(answer))
    {
        const auto name = Find(entry.value, "name").GetString();
        if (name.HasValue())
        {
            Require(count < objects.size());
            const NetworkObject& object = objects[count++];
            Require(object.id == entry.name && object.name == name.GetValue());
            CheckAddresses(object.domains, Find(entry.value, "domains"));
            CheckAddresses(object.ips, Find(entry.value, "ips"));
        }
    }
    Require(count == objects.size());
}

void CheckConfigurations(const std::vector<NetworkObject>& objects)
{
    std::vector<MtrTest> tests(3);
    tests[1].netobj = objects.empty() ? "gone" : objects.back().uuid;
    tests[2].netobj = "u1";
    CurlTest curl;
    curl.netobj = "u1";
    std::size_t expected = 0;
    for (const MtrTest& test : tests)
    {
        const auto found = std::find_if(
            objects.begin(), objects.end(), [&](const NetworkObject& each) { return each.uuid == test.netobj; });
        expected += found == objects.end() ? 0 : found->domains.size() + found->ips.size();
    }
    const auto configurations = AgentCore::Messaging::BuildTestConfigurations(tests, {curl}, objects);
    Require(configurations.size() == expected);
    for (const auto& configuration : configurations)
    {
        Require(configuration.hasCurlTest == (configuration.test.netobj == "u1"));
        Require(Shared::Util::ConvertStringType(configuration.networkObjectUuid) == configuration.test.netobj);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Fuzz::Silence s_silence;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto objects = Run<std::vector<NetworkObject>>(
        text, std::vector<NetworkObject>(2), &AgentCore::Messaging::ProcessNetworkObjectConfigMessage);
    const auto answer = Parse(text);
    Require(objects.has_value() == answer.has_value());
    if (objects)
    {
        CheckObjects(*objects, *answer);
        CheckConfigurations(*objects);
    }
    return 0;
}
