#include "lab.tools-connecttimer.hpp"

#include "lab.tools-console.linux.hpp"
#include "lab.tools-descriptor.linux.hpp"
#include "shared.time-clock.hpp"

#include <cerrno>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace Lab::Tools
{

namespace
{

using std::chrono::nanoseconds;

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
    case ECONNREFUSED:
        return {ConnectOutcome::Closed, time};
    case ETIMEDOUT:
        return {ConnectOutcome::TimedOut, time};
    default:
        return {ConnectOutcome::Failed, time, error};
    }
}

int OutcomeOf(int socket) noexcept
{
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

} // namespace

ConnectResult TimeConnect(const std::string& address, std::uint16_t port, nanoseconds timeout)
{
    const sockaddr_in native = ToNative(address, port);
    const Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "no socket");
    const nanoseconds begin = Shared::Time::RealMonotonicNow();
    const int result = ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&native), sizeof native);
    if (result == 0 || errno != EINPROGRESS)
    {
        return Judge(result == 0 ? 0 : errno, Shared::Time::RealMonotonicNow() - begin);
    }
    const Woken woken = AwaitDescriptor(socket.Get(), POLLOUT, timeout);
    const nanoseconds time = Shared::Time::RealMonotonicNow() - begin;
    switch (woken)
    {
    case Woken::Ready:
        return Judge(OutcomeOf(socket.Get()), time);
    case Woken::BreakSignal:
        return {ConnectOutcome::BrokenOff, time};
    case Woken::TimedOut:
        break;
    }
    return {ConnectOutcome::TimedOut, time};
}

} // namespace Lab::Tools
