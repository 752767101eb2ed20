#include "lab.tools-prober.hpp"

#include "lab.tools-console.linux.hpp"
#include "lab.tools-descriptor.linux.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <linux/icmp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace Lab::Tools
{

namespace
{

using std::chrono::nanoseconds;

void Check(int result, const char* what)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

sockaddr_in ToNative(const Address& address, std::uint16_t port)
{
    sockaddr_in native = {};
    native.sin_family = AF_INET;
    native.sin_port = htons(port);
    std::memcpy(&native.sin_addr, address.data(), address.size());
    return native;
}

const sockaddr* AsGeneral(const sockaddr_in& address) noexcept
{
    return reinterpret_cast<const sockaddr*>(&address);
}

int NewSocket(int type, int protocol) noexcept
{
    return ::socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol);
}

sockaddr_in OwnEnd(int socket)
{
    sockaddr_in own = {};
    socklen_t size = sizeof own;
    Check(::getsockname(socket, reinterpret_cast<sockaddr*>(&own), &size), "the own address");
    return own;
}

Address FindSource(const Address& target)
{
    constexpr std::uint16_t AnyPort = 9;
    const Descriptor socket(NewSocket(SOCK_DGRAM, 0), "a socket");
    const sockaddr_in native = ToNative(target, AnyPort);
    Check(::connect(socket.Get(), AsGeneral(native), sizeof native), "the way to the target");
    const sockaddr_in own = OwnEnd(socket.Get());
    Address source = {};
    std::memcpy(source.data(), &own.sin_addr, source.size());
    return source;
}

class RawProber : public Prober
{
public:
    RawProber(ProbeKind kind, const Address& target, std::uint16_t port, const BreakSignal& signal)
        : e_signal(signal),
          m_sender(NewSocket(SOCK_RAW, IPPROTO_RAW), "a raw socket"),
          m_messages(NewSocket(SOCK_RAW, IPPROTO_ICMP), "a raw socket for ICMP"),
          m_segments(NewSocket(SOCK_RAW, IPPROTO_TCP), "a raw socket for TCP"),
          m_holder(NewSocket(kind == ProbeKind::ConnectionRequest ? SOCK_STREAM : SOCK_DGRAM, 0), "a socket"),
          m_arrivals(::epoll_create1(EPOLL_CLOEXEC), "epoll")
    {
        m_flow.kind = kind;
        m_flow.target = target;
        m_flow.targetPort = kind == ProbeKind::Echo ? std::uint16_t{0} : port;
        m_flow.source = FindSource(target);
        HoldPort();
        Listen();
    }

    nanoseconds Now() const override
    {
        return Shared::Time::RealMonotonicNow();
    }

    void Send(std::uint16_t sequence, std::uint8_t timeToLive) override
    {
        const std::vector<std::uint8_t> packet = MakeProbe(m_flow, sequence, timeToLive);
        const sockaddr_in native = ToNative(m_flow.target, 0);
        // What does not go out counts as lost, as any other.
        (void)!::sendto(m_sender.Get(), packet.data(), packet.size(), 0, AsGeneral(native), sizeof native);
    }

    std::optional<Answer> Await(nanoseconds span) override
    {
        const nanoseconds end = Now() + span;
        while (true)
        {
            if (std::optional<Answer> answer = TakeFrom(m_messages))
            {
                return answer;
            }
            if (std::optional<Answer> answer = TakeFrom(m_segments))
            {
                return answer;
            }
            const nanoseconds left = std::max(end - Now(), nanoseconds(0));
            if (AwaitDescriptor(m_arrivals.Get(), POLLIN, left) != Woken::Ready || left.count() == 0)
            {
                return std::nullopt;
            }
        }
    }

    bool IsBrokenOff() const override
    {
        return e_signal.IsGiven();
    }

private:
    /// The flow's port is nobody else's as long as this prober lives. Nobody listens on it, so the system itself refuses
    /// what a target would open.
    void HoldPort()
    {
        const sockaddr_in own = ToNative(m_flow.source, 0);
        Check(::bind(m_holder.Get(), AsGeneral(own), sizeof own), "a port");
        m_flow.sourcePort = ntohs(OwnEnd(m_holder.Get()).sin_port);
    }

    void Listen()
    {
        icmp_filter filter = {};
        filter.data = ~((1U << ICMP_ECHOREPLY) | (1U << ICMP_DEST_UNREACH) | (1U << ICMP_TIME_EXCEEDED));
        Check(::setsockopt(m_messages.Get(), SOL_RAW, ICMP_FILTER, &filter, sizeof filter), "a filter for ICMP");
        // Nothing but what the target itself says; for other kinds of probes, not even that.
        const sockaddr_in peer = ToNative(m_flow.target, 0);
        Check(::connect(m_segments.Get(), AsGeneral(peer), sizeof peer), "the way to the target");
        Watch(m_messages);
        if (m_flow.kind == ProbeKind::ConnectionRequest)
        {
            Watch(m_segments);
        }
    }

    void Watch(const Descriptor& socket)
    {
        epoll_event event = {};
        event.events = EPOLLIN;
        Check(::epoll_ctl(m_arrivals.Get(), EPOLL_CTL_ADD, socket.Get(), &event), "epoll_ctl");
    }

    /// The next answer to a probe among what has arrived; not without end, should others talk all the time.
    std::optional<Answer> TakeFrom(const Descriptor& socket)
    {
        constexpr int MostPackets = 256;
        std::array<std::uint8_t, 2048> packet = {};
        for (int i = 0; i < MostPackets; ++i)
        {
            const ssize_t size = ::recv(socket.Get(), packet.data(), packet.size(), 0);
            if (size < 0)
            {
                return std::nullopt;
            }
            const nanoseconds received = Now();
            const auto reply = ReadReply({packet.data(), static_cast<std::size_t>(size)}, m_flow);
            if (reply)
            {
                return Answer{reply->sequence, ToText(reply->from), reply->endsPath, received};
            }
        }
        return std::nullopt;
    }

    const BreakSignal& e_signal;
    Flow m_flow;
    Descriptor m_sender;
    Descriptor m_messages;
    Descriptor m_segments;
    Descriptor m_holder;
    Descriptor m_arrivals;
};

} // namespace

ProbeKind SentKind(ProbeKind kind) noexcept
{
    return kind;
}

std::unique_ptr<Prober> MakeProber(
    ProbeKind kind, const std::string& target, std::uint16_t port, const BreakSignal& signal)
{
    return std::make_unique<RawProber>(kind, ParseAddress(target), port, signal);
}

} // namespace Lab::Tools
