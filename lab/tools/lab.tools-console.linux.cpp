#include "lab.tools-console.hpp"

#include "lab.tools-console.linux.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace Lab::Tools
{

namespace
{

using std::chrono::nanoseconds;

/// Stays readable once the signal was given; -1 as long as nobody listens, which a wait passes over.
int s_latch = -1;

void OnBreak(int) noexcept
{
    const int error = errno;
    const std::uint64_t one = 1;
    (void)!::write(s_latch, &one, sizeof one);
    errno = error;
}

timespec ToNative(nanoseconds span) noexcept
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(span);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((span - seconds).count())};
}

} // namespace

Woken AwaitDescriptor(int descriptor, short events, nanoseconds span)
{
    const nanoseconds end = Shared::Time::RealMonotonicNow() + span;
    while (true)
    {
        const nanoseconds left = std::max(end - Shared::Time::RealMonotonicNow(), nanoseconds(0));
        const timespec timeout = ToNative(left);
        std::array<pollfd, 2> entries = {{{s_latch, POLLIN, 0}, {descriptor, events, 0}}};
        const int ready = ::ppoll(entries.data(), entries.size(), &timeout, nullptr);
        if (ready < 0 && errno != EINTR)
        {
            throw std::system_error(errno, std::generic_category(), "ppoll");
        }
        if (ready > 0)
        {
            return entries[0].revents != 0 ? Woken::BreakSignal : Woken::Ready;
        }
        if (ready == 0 && left.count() == 0)
        {
            return Woken::TimedOut;
        }
    }
}

BreakSignal::BreakSignal()
{
    s_latch = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    struct sigaction action = {};
    action.sa_handler = &OnBreak;
    if (s_latch < 0 || ::sigaction(SIGINT, &action, nullptr) != 0 || ::sigaction(SIGTERM, &action, nullptr) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "the break signal");
    }
}

bool BreakSignal::IsGiven() const
{
    return Await(nanoseconds(0));
}

bool BreakSignal::Await(nanoseconds span) const
{
    return AwaitDescriptor(-1, 0, span) == Woken::BreakSignal;
}

void KeepLineEnds() noexcept
{
}

} // namespace Lab::Tools
