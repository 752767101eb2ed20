#include "shared.concurrency-nativewait.hpp"

#include "shared.concurrency-ordering.linux.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <functional>
#include <optional>

#include <poll.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

namespace Shared::Concurrency::Native
{

namespace
{

using Raii::RawHandle;
using std::chrono::nanoseconds;
namespace Raw = Raii::Native;

constexpr std::size_t MostHandles = 64;
using PollSet = std::array<pollfd, MostHandles>;

enum class Take : std::uint8_t
{
    Taken,
    /// Another waiter was faster.
    Gone,
    Failed
};

/// Counts down one wait; no clock is read for a wait without an end.
class Deadline
{
public:
    explicit Deadline(std::uint32_t timeoutMs) noexcept
    {
        if (timeoutMs != Time::Infinite)
        {
            const nanoseconds span = Time::ToRealSpan(std::chrono::milliseconds(timeoutMs));
            m_end = timeoutMs == 0 ? nanoseconds::zero() : Time::RealMonotonicNow() + span;
            m_left = span;
        }
    }

    void Update() noexcept
    {
        if (m_end)
        {
            const bool looksOnly = *m_end == nanoseconds::zero();
            m_left = looksOnly ? nanoseconds::zero() : std::max(nanoseconds::zero(), *m_end - Time::RealMonotonicNow());
        }
    }

    /// Null means no end.
    const timespec* Left() noexcept
    {
        if (!m_end)
        {
            return nullptr;
        }
        const auto seconds = std::chrono::floor<std::chrono::seconds>(m_left);
        m_spec = {static_cast<time_t>(seconds.count()), static_cast<long>((m_left - seconds).count())};
        return &m_spec;
    }

private:
    std::optional<nanoseconds> m_end;
    nanoseconds m_left{0};
    timespec m_spec{};
};

bool IsReady(const pollfd& entry) noexcept
{
    return entry.revents != 0;
}

/// Takes from a readable descriptor what its wait mode says.
Take TakeSignal(RawHandle handle) noexcept
{
    if (Raw::IsLatch(Raw::WaitModeOf(handle)))
    {
        return Take::Taken;
    }
    // A counter gives 8 bytes; a FIFO gives all the signals that came together, which are one wake-up.
    std::array<char, 4096> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): only read into, and often
    const std::size_t wanted =
        Raw::WaitModeOf(handle) == Raw::WaitMode::TakeCounter ? sizeof(std::uint64_t) : buffer.size();
    ssize_t got = 0;
    do
    {
        got = ::read(Raw::DescriptorOf(handle), buffer.data(), wanted);
    } while (got < 0 && errno == EINTR);
    if (got > 0)
    {
        return Take::Taken;
    }
    return got < 0 && errno != EAGAIN ? Take::Failed : Take::Gone;
}

/// Gives a taken signal back, for a wait for all that came too late for one of them.
void GiveBack(RawHandle handle) noexcept
{
    if (Raw::IsLatch(Raw::WaitModeOf(handle)))
    {
        return;
    }
    const int descriptor = Raw::DescriptorOf(handle);
    const std::uint64_t one = 1;
    if (::write(descriptor, &one, sizeof one) < 0 && errno == EINVAL)
    {
        // A timer's counter cannot be written: it is made to expire again, at once.
        itimerspec timer = {};
        (void)::timerfd_gettime(descriptor, &timer);
        timer.it_value = {0, 1};
        (void)::timerfd_settime(descriptor, 0, &timer, nullptr);
    }
}

WaitResult Failed(int error) noexcept
{
    return {WaitStatus::Failed, 0, static_cast<std::uint32_t>(error)};
}

WaitResult Signalled(std::size_t index) noexcept
{
    ObserveSignal();
    return {WaitStatus::Signalled, static_cast<std::uint32_t>(index), 0};
}

bool HasClosedDescriptor(std::span<const pollfd> entries) noexcept
{
    return std::any_of(
        entries.begin(), entries.end(), [](const pollfd& entry) { return (entry.revents & POLLNVAL) != 0; });
}

PollSet PollEntriesOf(std::span<const RawHandle> handles) noexcept
{
    PollSet entries;
    for (std::size_t i = 0; i < handles.size(); ++i)
    {
        entries[i] = {Raw::DescriptorOf(handles[i]), POLLIN, 0};
    }
    return entries;
}

WaitResult WaitForAny(std::span<const RawHandle> handles, Deadline& deadline) noexcept
{
    PollSet entries = PollEntriesOf(handles);
    while (true)
    {
        const int ready = ::ppoll(entries.data(), handles.size(), deadline.Left(), nullptr);
        if (ready < 0 && errno != EINTR)
        {
            return Failed(errno);
        }
        if (ready == 0)
        {
            return {WaitStatus::Timeout, 0, 0};
        }
        for (std::size_t i = 0; ready > 0 && i < handles.size(); ++i)
        {
            if (!IsReady(entries[i]))
            {
                continue;
            }
            if ((entries[i].revents & POLLNVAL) != 0)
            {
                return Failed(EBADF);
            }
            switch (TakeSignal(handles[i]))
            {
            case Take::Taken:
                return Signalled(i);
            case Take::Failed:
                return Failed(errno);
            case Take::Gone:
                break;
            }
        }
        deadline.Update();
    }
}

/// Takes every handle's signal, or none: what was taken before one that is gone is given back.
Take TakeAll(std::span<const RawHandle> handles) noexcept
{
    for (std::size_t i = 0; i < handles.size(); ++i)
    {
        const Take taken = TakeSignal(handles[i]);
        if (taken != Take::Taken)
        {
            const int error = errno;
            std::for_each(handles.begin(), handles.begin() + static_cast<std::ptrdiff_t>(i), GiveBack);
            errno = error;
            return taken;
        }
    }
    return Take::Taken;
}

/// An object that is given twice can never be taken twice. `isSame` compares two handles.
template <typename Compare>
bool HasTwice(std::span<const RawHandle> handles, Compare isSame) noexcept
{
    for (std::size_t i = 0; i < handles.size(); ++i)
    {
        const auto rest = handles.subspan(i + 1);
        if (std::any_of(rest.begin(), rest.end(), [&](RawHandle other) { return isSame(handles[i], other); }))
        {
            return true;
        }
    }
    return false;
}

WaitResult WaitForAll(std::span<const RawHandle> handles, Deadline& deadline) noexcept
{
    if (HasTwice(handles, std::equal_to<>()))
    {
        return Failed(EINVAL);
    }
    const timespec atOnce = {0, 0};
    while (true)
    {
        PollSet entries = PollEntriesOf(handles);
        const int ready = ::ppoll(entries.data(), handles.size(), &atOnce, nullptr);
        if (ready < 0 && errno != EINTR)
        {
            return Failed(errno);
        }
        if (HasClosedDescriptor({entries.data(), handles.size()}))
        {
            return Failed(EBADF);
        }
        if (ready == static_cast<int>(handles.size()))
        {
            const Take taken = TakeAll(handles);
            if (taken != Take::Gone)
            {
                return taken == Take::Taken ? Signalled(0) : Failed(errno);
            }
            // Another waiter was faster, or two handles are of one object, for which the loop would never end.
            if (HasTwice(handles, &Raw::IsSameObject))
            {
                return Failed(EINVAL);
            }
        }
        // Sleep on those that are missing alone: the others are ready and would end the sleep at once.
        std::size_t missing = 0;
        for (std::size_t i = 0; i < handles.size(); ++i)
        {
            if (!IsReady(entries[i]))
            {
                entries[missing++] = entries[i];
            }
        }
        deadline.Update();
        const int woken = missing == 0 ? 1 : ::ppoll(entries.data(), missing, deadline.Left(), nullptr);
        if (woken == 0)
        {
            return {WaitStatus::Timeout, 0, 0};
        }
        if (woken < 0 && errno != EINTR)
        {
            return Failed(errno);
        }
    }
}

} // namespace

WaitResult Wait(std::span<const RawHandle> handles, bool waitAll, std::uint32_t timeoutMs, bool) noexcept
{
    Deadline deadline(timeoutMs);
    return waitAll && handles.size() > 1 ? WaitForAll(handles, deadline) : WaitForAny(handles, deadline);
}

} // namespace Shared::Concurrency::Native
