#include "agentcore.tests-icmpecho.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <chrono>
#include <limits>
#include <string_view>
#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <linux/icmp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace AgentCore::Tests
{

namespace
{

using std::chrono::nanoseconds;
using Bytes = std::span<const std::uint8_t>;

sockaddr_in ToNative(const Icmp::IpV4Address& address) noexcept
{
    sockaddr_in native{};
    native.sin_family = AF_INET;
    native.sin_addr.s_addr = std::bit_cast<in_addr_t>(address);
    return native;
}

/// Keeps the echoes of this process apart; those of other processes differ in the identifier.
std::uint16_t NextSequence() noexcept
{
    static std::atomic<std::uint16_t> s_next{1};
    return s_next.fetch_add(1, std::memory_order_relaxed);
}

/// Counts down the wait for an answer, in real time. Every such wait has an end.
class Deadline
{
public:
    explicit Deadline(std::uint32_t timeoutMs) noexcept
        : m_end(Shared::Time::RealMonotonicNow() + Shared::Time::ToRealSpan(std::chrono::milliseconds(timeoutMs)))
    {
    }

    /// False once it is over, however much else keeps coming; a time-out of 0 looks once.
    bool WaitForInput(int socket) noexcept
    {
        constexpr nanoseconds longestSleep = std::chrono::minutes(1);
        while (true)
        {
            const auto left = m_end - Shared::Time::RealMonotonicNow();
            if (left <= nanoseconds::zero() && m_hasLooked)
            {
                return false;
            }
            m_hasLooked = true;
            const auto sleep =
                std::chrono::ceil<std::chrono::milliseconds>(std::clamp(left, nanoseconds::zero(), longestSleep));
            pollfd entry{socket, POLLIN, 0};
            if (::poll(&entry, 1, static_cast<int>(sleep.count())) > 0)
            {
                return (entry.revents & POLLNVAL) == 0;
            }
        }
    }

private:
    nanoseconds m_end;
    bool m_hasLooked = false;
};

template <typename Value>
bool SetOption(int socket, int level, int option, const Value& value) noexcept
{
    return ::setsockopt(socket, level, option, &value, sizeof(value)) == 0;
}

bool Apply(const PingOptions& options, int socket) noexcept
{
    const int discovery = options.doNotFragment ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT;
    const auto& header = options.headerOptions;
    return SetOption(socket, IPPROTO_IP, IP_TTL, int{options.timeToLive}) &&
        SetOption(socket, IPPROTO_IP, IP_TOS, int{options.typeOfService}) &&
        SetOption(socket, IPPROTO_IP, IP_MTU_DISCOVER, discovery) &&
        (header.empty() ||
         ::setsockopt(socket, IPPROTO_IP, IP_OPTIONS, header.data(), static_cast<socklen_t>(header.size())) == 0);
}

/// The error behind a message of the error queue, when it is one that came over the network.
const sock_extended_err* FindError(msghdr& message) noexcept
{
    for (auto* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part))
    {
        if (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_RECVERR &&
            part->cmsg_len >= CMSG_LEN(sizeof(sock_extended_err) + sizeof(sockaddr_in)))
        {
            const auto* const error = reinterpret_cast<const sock_extended_err*>(CMSG_DATA(part));
            return error->ee_origin == SO_EE_ORIGIN_ICMP ? error : nullptr;
        }
    }
    return nullptr;
}

/// One request on its way.
class Echo
{
public:
    Echo(int socket, bool isRaw, const Icmp::EchoKey& key, Bytes payload, std::size_t bufferSize)
        : m_socket(socket),
          m_isRaw(isRaw),
          m_key(key),
          m_payload(payload),
          m_replySize(bufferSize),
          m_buffer(bufferSize + (isRaw ? Icmp::LargestIpHeader : 0))
    {
    }

    bool Send()
    {
        const auto message = Icmp::BuildEchoRequest(m_key, m_payload);
        m_start = Shared::Time::MonotonicNow();
        // An error that somebody else's echo to the same host has met is told here once, and means nothing for this one.
        constexpr int tries = 3;
        for (int i = 0; i < tries; ++i)
        {
            if (::send(m_socket, message.data(), message.size(), MSG_NOSIGNAL) >= 0)
            {
                return true;
            }
        }
        return false;
    }

    std::optional<EchoAnswer> Await(std::uint32_t timeoutMs)
    {
        Deadline deadline{timeoutMs};
        while (deadline.WaitForInput(m_socket))
        {
            if (const auto answer = TakeError())
            {
                return answer;
            }
            if (const auto answer = TakeReply())
            {
                return answer;
            }
        }
        return std::nullopt;
    }

private:
    EchoAnswer Answer(const in_addr& address, std::uint32_t status, std::uint16_t dataSize) const noexcept
    {
        const auto taken =
            std::chrono::duration_cast<std::chrono::milliseconds>(Shared::Time::MonotonicNow() - m_start).count();
        constexpr std::int64_t longest = std::numeric_limits<std::uint32_t>::max();
        const auto roundTrip = static_cast<std::uint32_t>(std::clamp<std::int64_t>(taken, 0, longest));
        return {std::bit_cast<Icmp::IpV4Address>(address.s_addr), status, roundTrip, dataSize};
    }

    /// The next error that has come, if it is about this request.
    std::optional<EchoAnswer> TakeError()
    {
        // The quoted request, and what the kernel says of the error.
        std::array<std::uint8_t, 64> quoted{};
        alignas(cmsghdr) std::array<std::uint8_t, 256> control{};
        iovec part{quoted.data(), quoted.size()};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const auto size = ::recvmsg(m_socket, &message, MSG_ERRQUEUE | MSG_DONTWAIT);
        const auto* const error = size < 0 ? nullptr : FindError(message);
        if (error == nullptr || !Icmp::IsEchoRequest(Bytes{quoted}.first(static_cast<std::size_t>(size)), m_key))
        {
            return std::nullopt;
        }
        const auto status = Icmp::ToIpStatus(error->ee_type, error->ee_code);
        if (!status)
        {
            return std::nullopt;
        }
        // Who told it stands behind the record.
        const auto& router = *reinterpret_cast<const sockaddr_in*>(error + 1);
        return Answer(router.sin_addr, *status, 0);
    }

    /// The next message that has come, if it is the reply. Takes the pending error too that the error queue has told in full.
    std::optional<EchoAnswer> TakeReply()
    {
        sockaddr_in from{};
        socklen_t length = sizeof(from);
        const auto size = ::recvfrom(
            m_socket, m_buffer.data(), m_buffer.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &length);
        if (size < 0)
        {
            return std::nullopt;
        }
        const auto datagram = Bytes{m_buffer}.first(static_cast<std::size_t>(size));
        const auto message = m_isRaw ? Icmp::SkipIpHeader(datagram) : datagram;
        const auto kept = message.first(std::min(message.size(), m_replySize));
        if (const auto dataSize = Icmp::ReadEchoReply(kept, m_key, m_payload))
        {
            return Answer(from.sin_addr, Icmp::StatusSuccess, *dataSize);
        }
        return std::nullopt;
    }

    int m_socket;
    bool m_isRaw;
    Icmp::EchoKey m_key;
    Bytes m_payload;
    /// What is kept of a reply, without the IP header that comes to a raw socket.
    std::size_t m_replySize;
    std::vector<std::uint8_t> m_buffer;
    Shared::Time::MonotonicTime m_start;
};

class IcmpSocket final : public IcmpHandle
{
public:
    IcmpSocket(int socket, bool isRaw) noexcept : m_socket(socket), m_isRaw(isRaw)
    {
    }

    IcmpSocket(const IcmpSocket&) = delete;
    IcmpSocket& operator=(const IcmpSocket&) = delete;

    ~IcmpSocket() override
    {
        if (m_socket >= 0)
        {
            ::close(m_socket);
        }
    }

    std::optional<EchoAnswer> SendEcho(
        const Icmp::IpV4Address& address,
        std::span<const std::uint8_t> payload,
        const PingOptions* options,
        std::size_t replyBufferSize,
        std::uint32_t timeoutMs) override
    {
        if ((options != nullptr && !Apply(*options, m_socket)) || !Connect(address))
        {
            return std::nullopt;
        }
        Echo echo{m_socket, m_isRaw, {ReadIdentifier(), NextSequence()}, payload, replyBufferSize};
        if (!echo.Send())
        {
            return std::nullopt;
        }
        return echo.Await(timeoutMs);
    }

    void Close() override
    {
        const int socket = std::exchange(m_socket, -1);
        if (socket >= 0 && ::close(socket) != 0)
        {
            throw Shared::Exception::Win32Exception("IcmpCloseHandle() failed", Shared::Platform::LastError());
        }
    }

private:
    /// What others send does not come to a connected socket.
    bool Connect(const Icmp::IpV4Address& address) noexcept
    {
        const auto native = ToNative(address);
        // Nobody has this address, but the kernel would take it for the machine itself.
        return native.sin_addr.s_addr != INADDR_ANY && SetOption(m_socket, IPPROTO_IP, IP_RECVERR, 1) &&
            ::connect(m_socket, reinterpret_cast<const sockaddr*>(&native), sizeof(native)) == 0;
    }

    /// The kernel gives each of its own sockets one. For raw ones a random number keeps processes apart.
    std::uint16_t ReadIdentifier() const noexcept
    {
        sockaddr_in own{};
        socklen_t length = sizeof(own);
        if (!m_isRaw && ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&own), &length) == 0)
        {
            return ntohs(own.sin_port);
        }
        static const auto s_identifier = static_cast<std::uint16_t>(
            Shared::Util::GeneratePseudorandomInt(0, std::numeric_limits<std::uint16_t>::max()));
        return s_identifier;
    }

    int m_socket;
    bool m_isRaw;
};

/// A raw socket gets every message for the machine, of which only replies are wanted.
bool FilterReplies(int socket) noexcept
{
    icmp_filter filter{};
    filter.data = ~(1U << ICMP_ECHOREPLY);
    return SetOption(socket, SOL_RAW, ICMP_FILTER, filter);
}

class NativeIcmpService final : public IcmpService
{
public:
    AddressReading ParseAddress(
        const std::wstring& text, Icmp::IpV4Address& address, std::uint32_t& error) const override
    {
        const int result = ::inet_pton(AF_INET, Shared::Util::ConvertStringType(text).c_str(), address.data());
        if (result < 0)
        {
            error = Shared::Platform::LastError();
            return AddressReading::Failed;
        }
        return result == 0 ? AddressReading::Invalid : AddressReading::Valid;
    }

    std::unique_ptr<IcmpHandle> Open() const override
    {
        constexpr int flags = SOCK_CLOEXEC | SOCK_NONBLOCK;
        if (const int socket = ::socket(AF_INET, SOCK_DGRAM | flags, IPPROTO_ICMP); socket >= 0)
        {
            return std::make_unique<IcmpSocket>(socket, false);
        }
        const int socket = ::socket(AF_INET, SOCK_RAW | flags, IPPROTO_ICMP);
        if (socket < 0)
        {
            throw Shared::Exception::Win32Exception("IcmpCreateFile() failed", Shared::Platform::LastError());
        }
        auto handle = std::make_unique<IcmpSocket>(socket, true);
        if (!FilterReplies(socket))
        {
            throw Shared::Exception::Win32Exception("IcmpCreateFile() failed", Shared::Platform::LastError());
        }
        return handle;
    }

    std::wstring FormatAddress(const Icmp::IpV4Address& address) const override
    {
        std::array<char, INET_ADDRSTRLEN> text{};
        const char* const written = ::inet_ntop(AF_INET, address.data(), text.data(), text.size());
        return written == nullptr ? std::wstring{} : Shared::Util::ConvertStringType(std::string_view{written});
    }
};

} // namespace

const IcmpService& GetIcmpService() noexcept
{
    static const NativeIcmpService s_service;
    return s_service;
}

} // namespace AgentCore::Tests
