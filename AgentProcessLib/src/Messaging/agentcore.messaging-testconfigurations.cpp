#include "agentcore.messaging-testconfigurations.hpp"

#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-texthash.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace AgentCore::Messaging
{

using Shared::Util::TextHash;

namespace
{

/// What the addresses of all end-to-end tests may take. Each of them holds its whole test, so that two lists that are large,
/// and not unreasonably so, could together ask for more memory than there is.
constexpr std::size_t MostTestConfigurationBytes = std::size_t{128} * 1024 * 1024;

/// What a configuration takes, its texts with it.
std::size_t BytesOf(const TestConfiguration& configuration)
{
    const MtrTest& test = configuration.test;
    const std::size_t wide = configuration.target.size() + configuration.networkObjectUuid.size() +
        configuration.testKey.size() + configuration.protocol.size();
    return sizeof configuration + test.key.size() + test.id.size() + test.netobj.size() + test.l4Protocol.size() +
        wide * sizeof(wchar_t);
}

/// The addresses of all end-to-end tests, as far as there is room for them.
class TestConfigurationList
{
public:
    /// One for each address of the object.
    void Append(const MtrTest& test, const NetworkObject& object, bool hasCurlTest)
    {
        TestConfiguration configuration;
        configuration.test = test;
        configuration.networkObjectUuid = Shared::Util::ConvertStringType(object.uuid);
        configuration.testKey = Shared::Util::ConvertStringType(test.id);
        configuration.protocol = Shared::Util::ConvertStringType(test.l4Protocol);
        configuration.port = test.port;
        configuration.hasCurlTest = hasCurlTest;
        for (const auto* addresses : {&object.domains, &object.ips})
        {
            for (const std::string& address : *addresses)
            {
                configuration.target = Shared::Util::ConvertStringType(address);
                Append(configuration);
            }
        }
    }

    std::vector<TestConfiguration> Take()
    {
        if (m_leftOut > 0)
        {
            Shared::Log::Warn(
                "The ETE tests have too many addresses: {} of them are tested, and {} are not", m_list.size(),
                m_leftOut);
        }
        return std::move(m_list);
    }

private:
    void Append(const TestConfiguration& configuration)
    {
        const std::size_t bytes = BytesOf(configuration);
        if (bytes > m_bytesLeft)
        {
            ++m_leftOut;
            return;
        }
        m_bytesLeft -= bytes;
        m_list.push_back(configuration);
    }

    std::vector<TestConfiguration> m_list;
    std::size_t m_bytesLeft = MostTestConfigurationBytes;
    std::size_t m_leftOut = 0;
};

} // namespace

std::vector<TestConfiguration> BuildTestConfigurations(
    const std::vector<MtrTest>& eteTests,
    const std::vector<CurlTest>& curlTests,
    const std::vector<NetworkObject>& networkObjects)
{
    std::unordered_map<std::string_view, const NetworkObject*, TextHash> objects;
    for (const NetworkObject& object : networkObjects)
    {
        objects.try_emplace(object.uuid, &object);
    }
    std::unordered_set<std::string_view, TextHash> objectsOfCurlTests;
    for (const CurlTest& test : curlTests)
    {
        objectsOfCurlTests.insert(test.netobj);
    }
    TestConfigurationList configurations;
    for (const MtrTest& test : eteTests)
    {
        const auto found = objects.find(test.netobj);
        if (found != objects.end())
        {
            configurations.Append(test, *found->second, objectsOfCurlTests.contains(test.netobj));
        }
    }
    return configurations.Take();
}

} // namespace AgentCore::Messaging
