#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agentcore.tests-hostlookup.hpp"

namespace AgentCore::Tests
{

/// Finds the IPv4 addresses of hosts within a limited time. Keeps nothing: each call asks anew.
class HostResolver
{
public:
    using QueryMaker = std::function<std::unique_ptr<AddressQuery>()>;

    /// Asks the system.
    HostResolver();
    /// Asks by the queries of `makeQuery`, which is not empty and makes none that is null.
    explicit HostResolver(QueryMaker makeQuery);
    HostResolver(const HostResolver&) = delete;
    HostResolver& operator=(const HostResolver&) = delete;
    virtual ~HostResolver() = default;

    /// The addresses in text form, in the system's order; an address as a name is its own. Empty when the system refuses
    /// the question as such, which the log tells. Throws the runtime exception "Failed to resolve address for host name
    /// "{}" with error: {} - {}" with name, code and its text when the answer is a failure, and "Address reolution for host
    /// name "{}" took longer than {} ms to complete." when there is none in time. Nothing of the question is left behind.
    /// Any thread; all resolutions of the process run one after the other, and the time that one waits for its turn does
    /// not count.
    /// @param timeoutMs milliseconds of the agent's clock
    virtual std::vector<std::wstring> Resolve(const std::wstring& hostName, std::uint32_t timeoutMs);

private:
    QueryMaker m_makeQuery;
};

} // namespace AgentCore::Tests
