#pragma once

#include "agentcore.messaging-configobjects.hpp"

#include <vector>

/// What the end-to-end tests and the account's network objects make together. On the main thread.
namespace AgentCore::Messaging
{

/// One for each address of each end-to-end test: in the order of the tests, and for each the domains of its network object
/// before the IP addresses. A test whose network object is not there has none. Of objects with the same UUID the first counts.
/// Addresses that would take the whole beyond 128 MB are left out, with one warning in the log.
std::vector<TestConfiguration> BuildTestConfigurations(
    const std::vector<MtrTest>& eteTests,
    const std::vector<CurlTest>& curlTests,
    const std::vector<NetworkObject>& networkObjects);

} // namespace AgentCore::Messaging
