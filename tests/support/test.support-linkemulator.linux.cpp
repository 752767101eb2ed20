#include "test.support-linkemulator.linux.hpp"

#include "shared.time-clock.hpp"
#include "test.support-descriptor.linux.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <mutex>
#include <random>
#include <thread>

#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace TestSupport
{

namespace
{

using std::chrono::nanoseconds;

struct Packet
{
    nanoseconds due{0};
    std::vector<std::uint8_t> bytes;
};

/// One way of a link.
class Direction
{
public:
    Direction(int from, int to, const LinkSettings& settings, std::uint32_t seed)
        : m_from(from), m_to(to), m_settings(settings), m_random(seed)
    {
    }

    void Change(const LinkSettings& settings)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_settings = settings;
    }

    int GetSource() const noexcept
    {
        return m_from;
    }

    LinkCounts Counts() const noexcept
    {
        return {m_seen, m_lost};
    }

    nanoseconds NextDue() const noexcept
    {
        return m_waiting.empty() ? nanoseconds::max() : m_waiting.front().due;
    }

    void TakeAll(nanoseconds now)
    {
        std::array<std::uint8_t, 4096> bytes = {};
        for (ssize_t size = Read(bytes); size > 0; size = Read(bytes))
        {
            constexpr unsigned VersionShift = 4;
            constexpr unsigned Ipv4 = 4;
            if (bytes[0] >> VersionShift == Ipv4)
            {
                Take({bytes.data(), bytes.data() + size}, now);
            }
        }
    }

    void GiveDue(nanoseconds now)
    {
        for (; !m_waiting.empty() && m_waiting.front().due <= now; m_waiting.pop_front())
        {
            const std::vector<std::uint8_t>& bytes = m_waiting.front().bytes;
            (void)!::write(m_to, bytes.data(), bytes.size());
        }
    }

private:
    template <std::size_t Size>
    ssize_t Read(std::array<std::uint8_t, Size>& bytes) const
    {
        return ::read(m_from, bytes.data(), bytes.size());
    }

    void Take(std::vector<std::uint8_t> bytes, nanoseconds now)
    {
        const LinkSettings settings = Settings();
        ++m_seen;
        if (std::uniform_real_distribution<double>(0.0, 100.0)(m_random) < settings.lossPercent)
        {
            ++m_lost;
            return;
        }
        const auto jitter = settings.jitter.count();
        const std::chrono::microseconds deviation(
            std::uniform_int_distribution<std::int64_t>(-jitter, jitter)(m_random));
        const nanoseconds before = m_waiting.empty() ? nanoseconds(0) : m_waiting.back().due;
        m_waiting.push_back({std::max(now + settings.delay + deviation, before), std::move(bytes)});
    }

    LinkSettings Settings() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_settings;
    }

    int m_from;
    int m_to;
    mutable std::mutex m_lock;
    LinkSettings m_settings;
    std::mt19937 m_random;
    std::deque<Packet> m_waiting;
    std::atomic<std::uint64_t> m_seen = 0;
    std::atomic<std::uint64_t> m_lost = 0;
};

/// A machine that has much to do makes every packet later than it should be, so this thread comes before others where it may.
void TakePrecedence() noexcept
{
    sched_param parameters = {};
    parameters.sched_priority = 1;
    (void)::pthread_setschedparam(::pthread_self(), SCHED_FIFO, &parameters);
    (void)::prctl(PR_SET_TIMERSLACK, 1UL);
}

LinkSettings WayBack(const LinkSettings& settings) noexcept
{
    return {settings.delay, settings.jitter, 0.0};
}

timespec UntilThen(nanoseconds due, nanoseconds now) noexcept
{
    constexpr std::chrono::seconds Longest(1);
    const nanoseconds span = std::clamp<nanoseconds>(due - now, nanoseconds(0), Longest);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(span);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((span - seconds).count())};
}

} // namespace

class LinkEmulator::Carrier
{
public:
    explicit Carrier(const std::vector<Link>& links) : m_stop(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")
    {
        std::uint32_t seed = 1;
        for (const Link& link : links)
        {
            m_directions.emplace_back(link.near, link.far, link.settings, seed++);
            m_directions.emplace_back(link.far, link.near, WayBack(link.settings), seed++);
        }
        m_thread = std::thread([this] { Carry(); });
    }

    Carrier(const Carrier&) = delete;
    Carrier& operator=(const Carrier&) = delete;

    ~Carrier()
    {
        const std::uint64_t one = 1;
        (void)!::write(m_stop.Get(), &one, sizeof one);
        m_thread.join();
    }

    void Change(std::size_t link, const LinkSettings& settings)
    {
        m_directions.at(2 * link).Change(settings);
        m_directions.at(2 * link + 1).Change(WayBack(settings));
    }

    LinkCounts Counts(std::size_t link) const
    {
        return m_directions.at(2 * link).Counts();
    }

private:
    void Carry()
    {
        TakePrecedence();
        std::vector<pollfd> entries = {{m_stop.Get(), POLLIN, 0}};
        for (const Direction& direction : m_directions)
        {
            entries.push_back({direction.GetSource(), POLLIN, 0});
        }
        while (entries[0].revents == 0)
        {
            const nanoseconds now = Shared::Time::RealMonotonicNow();
            nanoseconds due = nanoseconds::max();
            for (Direction& direction : m_directions)
            {
                direction.TakeAll(now);
                direction.GiveDue(now);
                due = std::min(due, direction.NextDue());
            }
            const timespec timeout = UntilThen(due, Shared::Time::RealMonotonicNow());
            (void)::ppoll(entries.data(), entries.size(), &timeout, nullptr);
        }
    }

    Descriptor m_stop;
    std::deque<Direction> m_directions;
    std::thread m_thread;
};

LinkEmulator::LinkEmulator(const std::vector<Link>& links) : m_carrier(std::make_unique<Carrier>(links))
{
}

LinkEmulator::~LinkEmulator() = default;

void LinkEmulator::Change(std::size_t link, const LinkSettings& settings)
{
    m_carrier->Change(link, settings);
}

LinkCounts LinkEmulator::Counts(std::size_t link) const
{
    return m_carrier->Counts(link);
}

} // namespace TestSupport
