#include "lab.net-socket.hpp"

#include "shared.time-clock.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Lab::Net
{

namespace
{

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

[[noreturn]] void Refuse(const std::string& what, int error)
{
    throw SocketError(Failure::Refused, what + ": " + std::system_category().message(error));
}

[[noreturn]] void Refuse(const std::string& what)
{
    Refuse(what, errno);
}

[[noreturn]] void ThrowShutDown()
{
    throw SocketError(Failure::ShutDown, "the socket was shut down on this side");
}

class Descriptor
{
public:
    explicit Descriptor(int number) noexcept : m_number(number)
    {
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor()
    {
        if (m_number >= 0)
        {
            ::close(m_number);
        }
    }

    int Get() const noexcept
    {
        return m_number;
    }

private:
    int m_number;
};

/// A socket with the latch that ends all waits on it.
struct Waitable
{
    explicit Waitable(int number) : socket(number), latch(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    {
        if (socket.Get() < 0 || latch.Get() < 0)
        {
            Refuse("cannot make a socket");
        }
    }

    void ShutDown() noexcept
    {
        isShutDown = true;
        const std::uint64_t one = 1;
        (void)!::write(latch.Get(), &one, sizeof one);
    }

    /// False at the time-out.
    bool Await(short events, nanoseconds end) const
    {
        while (true)
        {
            const auto left = std::chrono::ceil<milliseconds>(end - Shared::Time::RealMonotonicNow());
            std::array<pollfd, 2> entries = {{{latch.Get(), POLLIN, 0}, {socket.Get(), events, 0}}};
            const int ready = ::poll(
                entries.data(), entries.size(), static_cast<int>(std::clamp<long long>(left.count(), 0, 60'000)));
            if (ready < 0 && errno != EINTR)
            {
                Refuse("cannot wait for a socket");
            }
            if (isShutDown)
            {
                ThrowShutDown();
            }
            if (ready > 0)
            {
                return true;
            }
            if (left.count() <= 0)
            {
                return false;
            }
        }
    }

    void Pause(nanoseconds end) const
    {
        for (auto left = end - Shared::Time::RealMonotonicNow(); left.count() > 0;
             left = end - Shared::Time::RealMonotonicNow())
        {
            pollfd entry = {latch.Get(), POLLIN, 0};
            const auto leftMs = std::chrono::ceil<milliseconds>(left);
            (void)::poll(&entry, 1, static_cast<int>(std::min<long long>(leftMs.count(), 60'000)));
            if (isShutDown)
            {
                ThrowShutDown();
            }
        }
    }

    Descriptor socket;
    Descriptor latch;
    std::atomic<bool> isShutDown = false;
};

bool WouldBlock(int error) noexcept
{
    return error == EAGAIN || error == EINTR;
}

/// Small messages go out at once.
void SendWithoutDelay(int socket) noexcept
{
    const int on = 1;
    (void)::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

sockaddr_in ToNative(const Endpoint& endpoint)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.port);
    if (::inet_pton(AF_INET, endpoint.address.c_str(), &address.sin_addr) != 1)
    {
        Refuse("no IPv4 address: " + endpoint.address, EINVAL);
    }
    return address;
}

int NewSocket() noexcept
{
    return ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

/// The system's calls take one form of address for all families.
const sockaddr* AsGeneral(const sockaddr_in& address) noexcept
{
    return reinterpret_cast<const sockaddr*>(&address);
}

} // namespace

struct Socket::Native : Waitable
{
    using Waitable::Waitable;
};

Socket::Socket(std::unique_ptr<Native> native) noexcept : m_native(std::move(native))
{
    SendWithoutDelay(m_native->socket.Get());
}

Socket::~Socket() = default;

std::shared_ptr<Socket> Socket::Connect(const Endpoint& endpoint, milliseconds timeout)
{
    const std::string what = "cannot connect to " + ToText(endpoint);
    const sockaddr_in address = ToNative(endpoint);
    auto native = std::make_unique<Native>(NewSocket());
    const int socket = native->socket.Get();
    if (::connect(socket, AsGeneral(address), sizeof address) != 0)
    {
        if (errno != EINPROGRESS)
        {
            Refuse(what);
        }
        if (!native->Await(POLLOUT, Shared::Time::RealMonotonicNow() + timeout))
        {
            throw SocketError(Failure::TimedOut, what + " in time");
        }
        int error = 0;
        socklen_t length = sizeof error;
        if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0)
        {
            Refuse(what, error);
        }
    }
    return std::shared_ptr<Socket>(new Socket(std::move(native)));
}

std::string Socket::Receive(std::size_t most, milliseconds timeout)
{
    const auto end = Shared::Time::RealMonotonicNow() + timeout;
    std::string bytes(most, '\0');
    while (true)
    {
        if (!m_native->Await(POLLIN, end))
        {
            throw SocketError(Failure::TimedOut, "nothing was received in time");
        }
        const ssize_t got = ::recv(m_native->socket.Get(), bytes.data(), bytes.size(), 0);
        if (got >= 0)
        {
            bytes.resize(static_cast<std::size_t>(got));
            return bytes;
        }
        if (!WouldBlock(errno))
        {
            Refuse("cannot receive");
        }
    }
}

void Socket::Send(std::string_view bytes, milliseconds timeout)
{
    const auto end = Shared::Time::RealMonotonicNow() + timeout;
    while (!bytes.empty())
    {
        if (!m_native->Await(POLLOUT, end))
        {
            throw SocketError(Failure::TimedOut, "nothing could be sent in time");
        }
        const ssize_t sent = ::send(m_native->socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent > 0)
        {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        else if (sent < 0 && !WouldBlock(errno))
        {
            Refuse("cannot send");
        }
    }
}

void Socket::Pause(milliseconds span)
{
    m_native->Pause(Shared::Time::RealMonotonicNow() + span);
}

void Socket::Shutdown() noexcept
{
    m_native->ShutDown();
    (void)::shutdown(m_native->socket.Get(), SHUT_RDWR);
}

struct Listener::Native : Waitable
{
    using Waitable::Waitable;

    std::uint16_t port = 0;
};

Listener::Listener() : m_native(std::make_unique<Native>(NewSocket()))
{
    const int socket = m_native->socket.Get();
    sockaddr_in address = ToNative({});
    socklen_t length = sizeof address;
    if (::bind(socket, AsGeneral(address), sizeof address) != 0 || ::listen(socket, SOMAXCONN) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
    {
        Refuse("cannot listen");
    }
    m_native->port = ntohs(address.sin_port);
}

Listener::~Listener() = default;

std::uint16_t Listener::GetPort() const noexcept
{
    return m_native->port;
}

std::shared_ptr<Socket> Listener::Accept(milliseconds timeout)
{
    const auto end = Shared::Time::RealMonotonicNow() + timeout;
    while (m_native->Await(POLLIN, end))
    {
        const int accepted = ::accept4(m_native->socket.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (accepted >= 0)
        {
            return std::shared_ptr<Socket>(new Socket(std::make_unique<Socket::Native>(accepted)));
        }
        // One that has gone again before it was taken is no failure of the listener's.
        if (!WouldBlock(errno) && errno != ECONNABORTED)
        {
            Refuse("cannot accept");
        }
    }
    return nullptr;
}

void Listener::Shutdown() noexcept
{
    m_native->ShutDown();
}

} // namespace Lab::Net
