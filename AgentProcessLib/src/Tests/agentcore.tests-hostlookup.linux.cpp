#include "agentcore.tests-hostlookup.linux.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <ares.h>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace AgentCore::Tests
{

namespace
{

namespace ErrorCode = Shared::Platform::ErrorCode;
using Shared::System::AddressFamily;
using Shared::System::IpAddress;
using std::chrono::nanoseconds;

// The system's own function, which waits.

using AddressList = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

std::uint32_t ToErrorCode(int result) noexcept
{
    switch (result)
    {
    case EAI_SYSTEM:
        return Shared::Platform::LastError();
    case EAI_MEMORY:
        return ENOMEM;
    case EAI_AGAIN:
        return ErrorCode::HostTryAgain;
    case EAI_NODATA:
    case EAI_ADDRFAMILY:
        return ErrorCode::HostNoData;
    case EAI_NONAME:
        return ErrorCode::HostNotFound;
    default:
        return ErrorCode::HostNoRecovery;
    }
}

AddressList AskSystem(const std::wstring& hostName)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* list = nullptr;
    const int result = ::getaddrinfo(Shared::Util::ConvertStringType(hostName).c_str(), nullptr, &hints, &list);
    if (result != 0)
    {
        throw Shared::Exception::Win32Exception("GetAddrInfoW failed with error", ToErrorCode(result));
    }
    return {list, &::freeaddrinfo};
}

// The resolver whose questions can be given up.

std::int32_t ToResolverCode(int status) noexcept
{
    switch (status)
    {
    case ARES_SUCCESS:
        return ErrorCode::Success;
    case ARES_ENODATA:
        return ErrorCode::HostNoData;
    case ARES_ENOTFOUND:
    case ARES_EBADNAME:
    case ARES_ENONAME:
        return ErrorCode::HostNotFound;
    case ARES_ESERVFAIL:
    case ARES_ECONNREFUSED:
    case ARES_ETIMEOUT:
        return ErrorCode::HostTryAgain;
    case ARES_ECANCELLED:
    case ARES_EDESTRUCTION:
        return ErrorCode::ResolutionCancelled;
    case ARES_ENOMEM:
        return ENOMEM;
    default:
        return ErrorCode::HostNoRecovery;
    }
}

struct ChannelCloser
{
    using pointer = ares_channel;

    void operator()(ares_channel channel) const noexcept
    {
        ares_destroy(channel);
    }
};

using Channel = std::unique_ptr<ares_channel, ChannelCloser>;

int InitialiseLibrary() noexcept
{
    static const int s_status = ares_library_init(ARES_LIB_INIT_ALL);
    return s_status;
}

/// A resolver of its own for each question, so that it reads the system's files as they are now.
int Open(const ResolverSettings& settings, Channel& channel)
{
    int status = InitialiseLibrary();
    if (status != ARES_SUCCESS)
    {
        return status;
    }
    ares_channel raw = nullptr;
    status = ares_init(&raw);
    if (status != ARES_SUCCESS)
    {
        return status;
    }
    channel.reset(raw);
    return settings.servers.empty() ? ARES_SUCCESS : ares_set_servers_ports_csv(raw, settings.servers.c_str());
}

/// The library would ask the servers for a host of this name.
bool IsIpV6Address(const std::string& text) noexcept
{
    in6_addr ignored{};
    return ::inet_pton(AF_INET6, text.c_str(), &ignored) == 1;
}

std::vector<std::wstring> ReadAddresses(const ares_addrinfo& list)
{
    std::vector<std::wstring> addresses;
    for (const auto* node = list.nodes; node != nullptr; node = node->ai_next)
    {
        std::array<char, INET_ADDRSTRLEN> text{};
        const auto* const address = reinterpret_cast<const sockaddr_in*>(node->ai_addr);
        if (node->ai_family == AF_INET && ::inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size()) != nullptr)
        {
            addresses.push_back(Shared::Util::ConvertStringType(std::string_view{text.data()}));
        }
    }
    return addresses;
}

/// What a resolver waits for, and how long before it wants to try again.
class ResolverWait
{
public:
    explicit ResolverWait(ares_channel channel) noexcept : e_channel(channel)
    {
        std::array<ares_socket_t, ARES_GETSOCK_MAXNUM> sockets{};
        const auto wishes = static_cast<unsigned>(ares_getsock(channel, sockets.data(), ARES_GETSOCK_MAXNUM));
        for (unsigned i = 0; i < ARES_GETSOCK_MAXNUM; ++i)
        {
            const bool reads = (wishes >> i & 1U) != 0;
            const bool writes = (wishes >> (i + ARES_GETSOCK_MAXNUM) & 1U) != 0;
            if (reads || writes)
            {
                m_entries[m_count++] = {
                    sockets[i], static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0)), 0};
            }
        }
    }

    /// Sleeps until something is there to do, `limit` of real time at most, and does it.
    void SleepAndProcess(nanoseconds limit) noexcept
    {
        const auto sleep = std::chrono::ceil<std::chrono::milliseconds>(LimitByRetry(limit));
        const int ready = ::poll(m_entries.data(), m_count, static_cast<int>(sleep.count()));
        if (ready <= 0)
        {
            // Looks for what has waited long enough.
            ares_process_fd(e_channel, ARES_SOCKET_BAD, ARES_SOCKET_BAD);
            return;
        }
        for (std::size_t i = 0; i < m_count; ++i)
        {
            const auto& entry = m_entries[i];
            const bool failed = (entry.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
            const bool reads = (entry.revents & POLLIN) != 0 || (failed && (entry.events & POLLIN) != 0);
            const bool writes = (entry.revents & POLLOUT) != 0 || (failed && (entry.events & POLLOUT) != 0);
            ares_process_fd(e_channel, reads ? entry.fd : ARES_SOCKET_BAD, writes ? entry.fd : ARES_SOCKET_BAD);
        }
    }

private:
    nanoseconds LimitByRetry(nanoseconds limit) const noexcept
    {
        timeval room{};
        const auto* const retry = ares_timeout(e_channel, nullptr, &room);
        return retry == nullptr
            ? limit
            : std::min<nanoseconds>(
                  limit, std::chrono::seconds(retry->tv_sec) + std::chrono::microseconds(retry->tv_usec));
    }

    ares_channel e_channel;
    std::array<pollfd, ARES_GETSOCK_MAXNUM> m_entries{};
    std::size_t m_count = 0;
};

class ResolverQuery final : public AddressQuery
{
public:
    explicit ResolverQuery(ResolverSettings settings) : m_settings(std::move(settings))
    {
    }

    std::int32_t Start(const std::wstring& hostName, Completion completion) override
    {
        m_completion = std::move(completion);
        const auto name = Shared::Util::ConvertStringType(hostName);
        const int status = IsIpV6Address(name) ? ARES_ENOTFOUND : Open(m_settings, m_channel);
        if (status != ARES_SUCCESS)
        {
            Complete(status, nullptr);
            return *m_result;
        }
        ares_addrinfo_hints hints{};
        hints.ai_family = AF_INET;
        ares_getaddrinfo(m_channel.get(), name.c_str(), nullptr, &hints, &OnEnd, this);
        return m_result.value_or(ErrorCode::IoPending);
    }

    bool Wait(std::uint32_t timeoutMs) override
    {
        constexpr nanoseconds longestSleep = std::chrono::minutes(1);
        const auto end =
            Shared::Time::RealMonotonicNow() + Shared::Time::ToRealSpan(std::chrono::milliseconds(timeoutMs));
        while (!m_result)
        {
            const auto left =
                timeoutMs == Shared::Time::Infinite ? longestSleep : end - Shared::Time::RealMonotonicNow();
            if (left < nanoseconds::zero())
            {
                return false;
            }
            ResolverWait{m_channel.get()}.SleepAndProcess(std::min(left, longestSleep));
        }
        return true;
    }

    void Cancel() noexcept override
    {
        if (m_channel)
        {
            ares_cancel(m_channel.get());
        }
    }

private:
    static void OnEnd(void* self, int status, int /*timeouts*/, ares_addrinfo* raw) noexcept
    {
        const std::unique_ptr<ares_addrinfo, decltype(&ares_freeaddrinfo)> list{raw, &ares_freeaddrinfo};
        static_cast<ResolverQuery*>(self)->Complete(status, list.get());
    }

    void Complete(int status, const ares_addrinfo* list) noexcept
    {
        std::int32_t result = ToResolverCode(status);
        std::vector<std::wstring> addresses;
        try
        {
            if (status == ARES_SUCCESS && list != nullptr)
            {
                addresses = ReadAddresses(*list);
            }
        }
        catch (const std::exception&)
        {
            result = ENOMEM;
        }
        m_completion(result, std::move(addresses));
        m_result = result;
    }

    ResolverSettings m_settings;
    Completion m_completion;
    /// Once the question has ended.
    std::optional<std::int32_t> m_result;
    /// Last: closing it ends what still runs, by the members above.
    Channel m_channel;
};

} // namespace

std::vector<IpAddress> LookUpHost(const std::wstring& hostName)
{
    const auto list = AskSystem(hostName);
    std::vector<IpAddress> addresses;
    for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next)
    {
        std::array<char, NI_MAXHOST> text{};
        if ((entry->ai_family == AF_INET || entry->ai_family == AF_INET6) &&
            ::getnameinfo(entry->ai_addr, entry->ai_addrlen, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) == 0)
        {
            const auto family = entry->ai_family == AF_INET ? AddressFamily::IpV4 : AddressFamily::IpV6;
            addresses.push_back({family, text.data()});
        }
    }
    return addresses;
}

std::unique_ptr<AddressQuery> CreateAddressQuery()
{
    return CreateAddressQuery(ResolverSettings{});
}

std::unique_ptr<AddressQuery> CreateAddressQuery(const ResolverSettings& settings)
{
    return std::make_unique<ResolverQuery>(settings);
}

} // namespace AgentCore::Tests
