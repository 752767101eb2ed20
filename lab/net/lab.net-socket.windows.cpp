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

// Operations are overlapped ones, each direction with an event of its own, so that a thread waits for its operation and
// for the end of the socket at once, and two threads do not meet.

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

/// Selecting events has made the socket a non-blocking one, which is no way for overlapped operations.
void StopSelecting(SOCKET socket) noexcept
{
    u_long blocking = 0;
    ::WSAEventSelect(socket, nullptr, 0);
    ::ioctlsocket(socket, FIONBIO, &blocking);
}

} // namespace

struct Socket::Native : Waitable
{
    explicit Native(SOCKET number) : Waitable(number), received(NewEvent(true)), sent(NewEvent(true))
    {
    }

    /// Starts an operation and awaits its end; the number of bytes that went. What is still pending at the time-out is
    /// cancelled, and may have succeeded at the last moment.
    template <typename Start>
    DWORD Perform(const Win32Handle& event, milliseconds timeout, const char* what, Start start)
    {
        if (isShutDown)
        {
            ThrowShutDown();
        }
        OVERLAPPED operation = {};
        operation.hEvent = event.GetRawHandle();
        if (start(&operation) != 0 && ::WSAGetLastError() != WSA_IO_PENDING)
        {
            Refuse(std::string("cannot ") + what);
        }
        const HANDLE handles[] = {event.GetRawHandle(), latch.GetRawHandle()};
        if (::WaitForMultipleObjects(2, handles, FALSE, ToTimeout(timeout)) != WAIT_OBJECT_0)
        {
            ::CancelIoEx(AsHandle(), &operation);
        }
        DWORD transferred = 0;
        DWORD flags = 0;
        const bool succeeded = ::WSAGetOverlappedResult(socket.Get(), &operation, &transferred, TRUE, &flags) != FALSE;
        const int error = succeeded ? 0 : ::WSAGetLastError();
        if (isShutDown)
        {
            ThrowShutDown();
        }
        if (error == WSA_OPERATION_ABORTED)
        {
            throw SocketError(Failure::TimedOut, std::string("could not ") + what + " in time");
        }
        if (!succeeded)
        {
            Refuse(std::string("cannot ") + what, error);
        }
        return transferred;
    }

    HANDLE AsHandle() const noexcept
    {
        return reinterpret_cast<HANDLE>(socket.Get());
    }

    Win32Handle received;
    Win32Handle sent;
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
    const Win32Handle connected = NewEvent(true);
    if (::WSAEventSelect(socket, connected.GetRawHandle(), FD_CONNECT) != 0)
    {
        Refuse(what);
    }
    if (::connect(socket, AsGeneral(address), sizeof address) != 0)
    {
        if (::WSAGetLastError() != WSAEWOULDBLOCK)
        {
            Refuse(what);
        }
        if (!native->Await(connected, ToTimeout(timeout)))
        {
            throw SocketError(Failure::TimedOut, what + " in time");
        }
        WSANETWORKEVENTS events = {};
        if (::WSAEnumNetworkEvents(socket, connected.GetRawHandle(), &events) != 0)
        {
            Refuse(what);
        }
        if (events.iErrorCode[FD_CONNECT_BIT] != 0)
        {
            Refuse(what, events.iErrorCode[FD_CONNECT_BIT]);
        }
    }
    StopSelecting(socket);
    return std::shared_ptr<Socket>(new Socket(std::move(native)));
}

std::string Socket::Receive(std::size_t most, milliseconds timeout)
{
    std::string bytes(most, '\0');
    WSABUF buffer = {static_cast<ULONG>(bytes.size()), bytes.data()};
    bytes.resize(m_native->Perform(
        m_native->received, timeout, "receive",
        [&](OVERLAPPED* operation)
        {
            DWORD flags = 0;
            return ::WSARecv(m_native->socket.Get(), &buffer, 1, nullptr, &flags, operation, nullptr);
        }));
    return bytes;
}

void Socket::Send(std::string_view bytes, milliseconds timeout)
{
    constexpr std::size_t MostAtOnce = 1U << 20U;
    while (!bytes.empty())
    {
        // The system only reads from it.
        WSABUF buffer = {static_cast<ULONG>(std::min(bytes.size(), MostAtOnce)), const_cast<char*>(bytes.data())};
        bytes.remove_prefix(m_native->Perform(
            m_native->sent, timeout, "send",
            [&](OVERLAPPED* operation)
            { return ::WSASend(m_native->socket.Get(), &buffer, 1, nullptr, 0, operation, nullptr); }));
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
            auto native = std::make_unique<Socket::Native>(accepted);
            StopSelecting(accepted);
            (void)::SetHandleInformation(native->AsHandle(), HANDLE_FLAG_INHERIT, 0);
            return std::shared_ptr<Socket>(new Socket(std::move(native)));
        }
        if (::WSAGetLastError() != WSAEWOULDBLOCK)
        {
            Refuse("cannot accept");
        }
        const auto left = std::chrono::ceil<milliseconds>(end - Shared::Time::RealMonotonicNow());
        if (!m_native->Await(m_native->arrived, ToTimeout(left)))
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
