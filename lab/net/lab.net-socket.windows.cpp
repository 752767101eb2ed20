#include "lab.net-socket.hpp"

#include "shared.raii-win32handle.hpp"
#include "shared.time-clock.hpp"
#include "shared.winsock-winsockinitialiser.hpp"

#include <algorithm>
#include <atomic>
#include <limits>
#include <system_error>
#include <utility>

#include "shared.platform-windows.windows.hpp"

// Sockets do not block: what cannot be done at once is waited for by `select`. Overlapped operations would do as well on
// Windows; Wine's do not end when the peer is gone.

namespace Lab::Net
{

namespace
{

using Shared::Raii::Win32Handle;
using std::chrono::milliseconds;

[[noreturn]] void Refuse(const std::string& what, int error)
{
    throw SocketError(Failure::Refused, what + ": " + std::system_category().message(error));
}

[[noreturn]] void Refuse(const std::string& what)
{
    Refuse(what, ::WSAGetLastError());
}

[[noreturn]] void ThrowShutDown()
{
    throw SocketError(Failure::ShutDown, "the socket was shut down on this side");
}

/// The library is started with the first socket and stays.
void StartLibrary()
{
    static Shared::WinSock::WinSockInitialiser s_initialiser;
    static const bool s_started = []
    {
        s_initialiser.Initialise();
        return true;
    }();
    (void)s_started;
}

std::uint32_t ToTimeout(milliseconds timeout) noexcept
{
    constexpr long long Longest = std::numeric_limits<std::uint32_t>::max() - 1LL;
    return static_cast<std::uint32_t>(std::clamp<long long>(timeout.count(), 0, Longest));
}

Win32Handle NewEvent(bool manualReset)
{
    Win32Handle event(::CreateEventW(nullptr, manualReset ? TRUE : FALSE, FALSE, nullptr));
    if (!event.IsValid())
    {
        Refuse("cannot make a socket's event", static_cast<int>(::GetLastError()));
    }
    return event;
}

class OwnedSocket
{
public:
    explicit OwnedSocket(SOCKET socket) noexcept : m_socket(socket)
    {
    }

    OwnedSocket(const OwnedSocket&) = delete;
    OwnedSocket& operator=(const OwnedSocket&) = delete;

    ~OwnedSocket()
    {
        if (m_socket != INVALID_SOCKET)
        {
            ::closesocket(m_socket);
        }
    }

    SOCKET Get() const noexcept
    {
        return m_socket;
    }

private:
    SOCKET m_socket;
};

/// A socket with the latch that ends all waits on it.
struct Waitable
{
    explicit Waitable(SOCKET number) : socket(number), latch(NewEvent(true))
    {
        if (socket.Get() == INVALID_SOCKET)
        {
            Refuse("cannot make a socket");
        }
    }

    void ShutDown() noexcept
    {
        isShutDown = true;
        ::SetEvent(latch.GetRawHandle());
    }

    /// False at the time-out.
    bool Await(const Win32Handle& event, std::uint32_t timeoutMs) const
    {
        const HANDLE handles[] = {latch.GetRawHandle(), event.GetRawHandle()};
        const DWORD woken = ::WaitForMultipleObjects(2, handles, FALSE, timeoutMs);
        if (isShutDown)
        {
            ThrowShutDown();
        }
        if (woken == WAIT_FAILED)
        {
            Refuse("cannot wait for a socket", static_cast<int>(::GetLastError()));
        }
        return woken == WAIT_OBJECT_0 + 1;
    }

    OwnedSocket socket;
    Win32Handle latch;
    std::atomic<bool> isShutDown = false;
};

SOCKET NewSocket()
{
    StartLibrary();
    return ::WSASocketW(
        AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
}

sockaddr_in ToNative(const Endpoint& endpoint)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.port);
    if (::inet_pton(AF_INET, endpoint.address.c_str(), &address.sin_addr) != 1)
    {
        Refuse("no IPv4 address: " + endpoint.address, WSAEINVAL);
    }
    return address;
}

const sockaddr* AsGeneral(const sockaddr_in& address) noexcept
{
    return reinterpret_cast<const sockaddr*>(&address);
}

/// An event that was selected for the listening socket is passed on to those that it accepts, whose waits need none.
void StopSelecting(SOCKET socket) noexcept
{
    ::WSAEventSelect(socket, nullptr, 0);
}

void StopBlocking(SOCKET socket)
{
    u_long on = 1;
    if (::ioctlsocket(socket, FIONBIO, &on) != 0)
    {
        Refuse("cannot make a socket that does not block");
    }
}

enum class Direction
{
    In,
    Out
};

/// How late a shutdown is noticed that came while somebody waited; not every system wakes `select` for it.
constexpr milliseconds LongestNap(20);

/// Whether the socket became ready, or failed, within the time; the caller's next attempt tells which.
bool AwaitReady(SOCKET socket, Direction direction, milliseconds time)
{
    timeval timeout = {static_cast<long>(time.count() / 1000), static_cast<long>(time.count() % 1000 * 1000)};
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(socket, &ready);
    fd_set failed = ready;
    fd_set* in = direction == Direction::In ? &ready : nullptr;
    fd_set* out = direction == Direction::Out ? &ready : nullptr;
    const int count = ::select(0, in, out, &failed, &timeout);
    if (count == SOCKET_ERROR)
    {
        Refuse("cannot wait for a socket");
    }
    return count > 0;
}

milliseconds LeftUntil(std::chrono::nanoseconds end) noexcept
{
    return std::max(std::chrono::ceil<milliseconds>(end - Shared::Time::RealMonotonicNow()), milliseconds(0));
}

} // namespace

struct Socket::Native : Waitable
{
    explicit Native(SOCKET number) : Waitable(number)
    {
        StopBlocking(number);
    }

    /// Attempts until something went; the number of bytes.
    template <typename Attempt>
    std::size_t Perform(Direction direction, milliseconds timeout, const char* what, Attempt attempt)
    {
        const auto end = Shared::Time::RealMonotonicNow() + timeout;
        while (true)
        {
            const int count = isShutDown ? 0 : attempt();
            const int error = count < 0 ? ::WSAGetLastError() : 0;
            if (isShutDown)
            {
                ThrowShutDown();
            }
            if (count >= 0)
            {
                return static_cast<std::size_t>(count);
            }
            if (error != WSAEWOULDBLOCK)
            {
                Refuse(std::string("cannot ") + what, error);
            }
            const milliseconds left = LeftUntil(end);
            if (!AwaitReady(socket.Get(), direction, std::min(left, LongestNap)) && left <= LongestNap)
            {
                throw SocketError(Failure::TimedOut, std::string("could not ") + what + " in time");
            }
        }
    }
};

Socket::Socket(std::unique_ptr<Native> native) noexcept : m_native(std::move(native))
{
    // Small messages go out at once.
    const BOOL on = TRUE;
    (void)::setsockopt(m_native->socket.Get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
}

Socket::~Socket() = default;

std::shared_ptr<Socket> Socket::Connect(const Endpoint& endpoint, milliseconds timeout)
{
    const std::string what = "cannot connect to " + ToText(endpoint);
    const sockaddr_in address = ToNative(endpoint);
    auto native = std::make_unique<Native>(NewSocket());
    const SOCKET socket = native->socket.Get();
    if (::connect(socket, AsGeneral(address), sizeof address) != 0)
    {
        if (::WSAGetLastError() != WSAEWOULDBLOCK)
        {
            Refuse(what);
        }
        if (!AwaitReady(socket, Direction::Out, timeout))
        {
            throw SocketError(Failure::TimedOut, what + " in time");
        }
        int error = 0;
        int length = sizeof error;
        if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &length) != 0)
        {
            Refuse(what);
        }
        if (error != 0)
        {
            Refuse(what, error);
        }
    }
    return std::shared_ptr<Socket>(new Socket(std::move(native)));
}

std::string Socket::Receive(std::size_t most, milliseconds timeout)
{
    std::string bytes(most, '\0');
    bytes.resize(m_native->Perform(
        Direction::In, timeout, "receive",
        [&] { return ::recv(m_native->socket.Get(), bytes.data(), static_cast<int>(bytes.size()), 0); }));
    return bytes;
}

void Socket::Send(std::string_view bytes, milliseconds timeout)
{
    constexpr std::size_t MostAtOnce = 1U << 20U;
    while (!bytes.empty())
    {
        bytes.remove_prefix(m_native->Perform(
            Direction::Out, timeout, "send",
            [&] {
                return ::send(
                    m_native->socket.Get(), bytes.data(), static_cast<int>(std::min(bytes.size(), MostAtOnce)), 0);
            }));
    }
}

void Socket::Pause(milliseconds span)
{
    (void)::WaitForSingleObject(m_native->latch.GetRawHandle(), ToTimeout(span));
    if (m_native->isShutDown)
    {
        ThrowShutDown();
    }
}

void Socket::Shutdown() noexcept
{
    m_native->ShutDown();
    (void)::shutdown(m_native->socket.Get(), SD_BOTH);
}

struct Listener::Native : Waitable
{
    Native() : Waitable(NewSocket()), arrived(NewEvent(true))
    {
    }

    Win32Handle arrived;
    std::uint16_t port = 0;
};

Listener::Listener() : m_native(std::make_unique<Native>())
{
    const SOCKET socket = m_native->socket.Get();
    sockaddr_in address = ToNative({});
    int length = sizeof address;
    if (::bind(socket, AsGeneral(address), sizeof address) != 0 || ::listen(socket, SOMAXCONN) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        ::WSAEventSelect(socket, m_native->arrived.GetRawHandle(), FD_ACCEPT) != 0)
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
    while (true)
    {
        const SOCKET accepted = ::accept(m_native->socket.Get(), nullptr, nullptr);
        if (accepted != INVALID_SOCKET)
        {
            StopSelecting(accepted);
            (void)::SetHandleInformation(reinterpret_cast<HANDLE>(accepted), HANDLE_FLAG_INHERIT, 0);
            auto native = std::make_unique<Socket::Native>(accepted);
            return std::shared_ptr<Socket>(new Socket(std::move(native)));
        }
        if (::WSAGetLastError() != WSAEWOULDBLOCK)
        {
            Refuse("cannot accept");
        }
        if (!m_native->Await(m_native->arrived, ToTimeout(LeftUntil(end))))
        {
            return nullptr;
        }
        WSANETWORKEVENTS events = {};
        (void)::WSAEnumNetworkEvents(m_native->socket.Get(), m_native->arrived.GetRawHandle(), &events);
    }
}

void Listener::Shutdown() noexcept
{
    m_native->ShutDown();
}

} // namespace Lab::Net
