#pragma once

#include "agentcore.tests-hostlookup.hpp"

#include <string>

namespace AgentCore::Tests
{

/// What a question may take from elsewhere than the system's files.
struct ResolverSettings
{
    /// Servers to ask in place of the system's: "192.0.2.53:5353", several with commas between them. Empty: the system's.
    std::string servers;
};

/// A question to the servers of `settings`.
std::unique_ptr<AddressQuery> CreateAddressQuery(const ResolverSettings& settings);

} // namespace AgentCore::Tests
