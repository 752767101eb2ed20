#include "lab.tools-connecttimer.hpp"

#include "lab.tools-console.windows.hpp"
#include "lab.tools-sockets.windows.hpp"
#include "shared.raii-win32handle.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace Lab::Tools
{

namespace
{

using std::chrono::nanoseconds;

class OwnedSocket
{
public:
    OwnedSocket()
        : m_socket(::WSASocketW(
              AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT))
    {
        if (m_socket == INVALID_SOCKET)
        {
            throw std::system_error(::WSAGetLastError(), std::system_category(), "no socket");
        }
    }

    OwnedSocket(const OwnedSocket&) = delete;
    OwnedSocket& operator=(const OwnedSocket&) = delete;

    ~OwnedSocket()
    {
        ::closesocket(m_socket);
    }

    SOCKET Get() const noexcept
    {
        return m_socket;
    }

private:
    SOCKET m_socket;
};

sockaddr_in ToNative(const std::string& address, std::uint16_t port)
{
    sockaddr_in native = {};
    native.sin_family = AF_INET;
    native.sin_port = htons(port);
    if (::inet_pton(AF_INET, address.c_str(), &native.sin_addr) != 1)
    {
        throw std::invalid_argument("no IPv4 address: " + address);
    }
    return native;
}

ConnectResult Judge(int error, nanoseconds time)
{
    switch (error)
    {
    case 0:
        return {ConnectOutcome::Open, time};
    case WSAECONNREFUSED:
        return {ConnectOutcome::Closed, time};
    case WSAETIMEDOUT:
        return {ConnectOutcome::TimedOut, time};
    default:
        return {ConnectOutcome::Failed, time, error};
    }
}

/// What the system says of a connection whose event was signalled.
int OutcomeOf(SOCKET socket, HANDLE event)
{
    WSANETWORKEVENTS events = {};
    if (::WSAEnumNetworkEvents(socket, event, &events) != 0)
    {
        return ::WSAGetLastError();
    }
    return events.iErrorCode[FD_CONNECT_BIT];
}

} // namespace

ConnectResult TimeConnect(const std::string& address, std::uint16_t port, nanoseconds timeout)
{
    StartSockets();
    const sockaddr_in native = ToNative(address, port);
    const OwnedSocket socket;
    const Shared::Raii::Win32Handle event(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event.IsValid() || ::WSAEventSelect(socket.Get(), event.GetRawHandle(), FD_CONNECT) != 0)
    {
        throw std::runtime_error("no event for a socket");
    }
    const nanoseconds begin = Shared::Time::RealMonotonicNow();
    const int result = ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&native), sizeof native);
    if (const int error = result == 0 ? 0 : ::WSAGetLastError(); error != WSAEWOULDBLOCK)
    {
        return Judge(error, Shared::Time::RealMonotonicNow() - begin);
    }
    const HANDLE handles[] = {BreakEvent(), event.GetRawHandle()};
    const auto timeoutMs = std::chrono::ceil<std::chrono::milliseconds>(timeout).count();
    const DWORD woken = ::WaitForMultipleObjects(
        2, handles, FALSE, static_cast<DWORD>(std::clamp<long long>(timeoutMs, 0, INFINITE - 1LL)));
    const nanoseconds time = Shared::Time::RealMonotonicNow() - begin;
    switch (woken)
    {
    case WAIT_OBJECT_0:
        return {ConnectOutcome::BrokenOff, time};
    case WAIT_OBJECT_0 + 1:
        return Judge(OutcomeOf(socket.Get(), event.GetRawHandle()), time);
    case WAIT_TIMEOUT:
        return {ConnectOutcome::TimedOut, time};
    default:
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "wait for a socket");
    }
}

} // namespace Lab::Tools
