#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "shared.system-adapters.hpp"

/// What the system does to find the addresses of hosts: the seam under HostNameToAddresses() and HostResolver.
namespace AgentCore::Tests
{

/// Whether a text can be asked for: what is empty, or holds a null character behind which the system would not look, names
/// no host.
bool CanNameHost(const std::wstring& hostName) noexcept;

/// The addresses of a host that TCP can use, in the system's order. Waits for as long as the system does.
/// @param hostName of which CanNameHost() holds
/// Throws Win32Exception "GetAddrInfoW failed with error". Any thread; Windows wants sockets initialised.
std::vector<Shared::System::IpAddress> LookUpHost(const std::wstring& hostName);

/// One question for the IPv4 addresses of a host, which can be given up. Asked once. Belongs to one thread. Destroying one
/// that is on its way gives it up and waits for its end, `completion` included: nothing of it is left after that.
class AddressQuery
{
public:
    /// How the question ended: 0 and the addresses in text form, or the system's code and none. Does not throw.
    using Completion = std::function<void(std::int32_t error, std::vector<std::wstring> addresses)>;

    AddressQuery() = default;
    AddressQuery(const AddressQuery&) = delete;
    AddressQuery& operator=(const AddressQuery&) = delete;
    virtual ~AddressQuery() = default;

    /// ErrorCode::IoPending when the question is on its way, and `completion` will be called once, on whichever thread. Any
    /// other result says how it ended at once, and `completion` has been called with it.
    /// @param hostName of which CanNameHost() holds
    virtual std::int32_t Start(const std::wstring& hostName, Completion completion) = 0;

    /// True once `completion` has returned; false at the time-out.
    /// @param timeoutMs milliseconds of the agent's clock, Shared::Time::Infinite for none
    virtual bool Wait(std::uint32_t timeoutMs) = 0;

    /// Gives the question up: `completion` is called soon, if it has not been yet.
    virtual void Cancel() noexcept = 0;
};

/// A question to the system's resolver. Windows: GetAddrInfoExW; sockets are initialised. Linux: the servers and domains of
/// the system's resolver file, and its hosts file; asked by the thread that waits, so that no other is there.
std::unique_ptr<AddressQuery> CreateAddressQuery();

} // namespace AgentCore::Tests
