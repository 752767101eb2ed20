#include "lab.tools-pathtrace.hpp"

#include <algorithm>
#include <array>

namespace Lab::Tools
{

namespace
{

using std::chrono::nanoseconds;

struct Probe
{
    std::uint8_t timeToLive = 0;
    nanoseconds sent{0};
    bool isAnswered = false;
};

struct Station
{
    std::string address;
    std::uint32_t sent = 0;
    Statistics times;
    std::optional<nanoseconds> first;
};

/// One run. Probes are numbered from 1 on, in the order in which they are sent.
class Run
{
public:
    Run(Prober& prober, const TraceSettings& settings) : e_prober(prober), m_settings(settings)
    {
    }

    Trace Go()
    {
        const nanoseconds begin = e_prober.Now();
        for (std::uint32_t cycle = 0; cycle < std::min(m_settings.cycles, MostCycles) && !IsOver(); ++cycle)
        {
            SendCycle(begin + cycle * m_settings.interval, m_settings.isSpread || cycle == 0);
        }
        AwaitRest();
        return Result();
    }

private:
    bool IsOver() const
    {
        return e_prober.IsBrokenOff();
    }

    void SendCycle(nanoseconds begin, bool isSpread)
    {
        const nanoseconds step = isSpread ? m_settings.interval / m_length : nanoseconds(0);
        for (std::uint8_t timeToLive = 1; timeToLive <= m_length; ++timeToLive)
        {
            CollectUntil(begin + (timeToLive - 1) * step);
            if (IsOver())
            {
                return;
            }
            // An answer may have shown that the way ends before.
            if (timeToLive <= m_length)
            {
                Send(timeToLive);
            }
        }
    }

    void Send(std::uint8_t timeToLive)
    {
        ++m_stations[timeToLive - 1U].sent;
        m_probes.push_back({timeToLive, e_prober.Now(), false});
        e_prober.Send(static_cast<std::uint16_t>(m_probes.size()), timeToLive);
    }

    void CollectUntil(nanoseconds end)
    {
        while (!IsOver())
        {
            const nanoseconds left = std::max(end - e_prober.Now(), nanoseconds(0));
            const std::optional<Answer> answer = e_prober.Await(left);
            if (answer)
            {
                Take(*answer);
            }
            else if (e_prober.Now() >= end)
            {
                return;
            }
        }
    }

    void AwaitRest()
    {
        while (!IsOver())
        {
            const Probe* const open = LastOpen();
            const nanoseconds left =
                open == nullptr ? nanoseconds(0) : open->sent + m_settings.timeout - e_prober.Now();
            if (left.count() <= 0)
            {
                return;
            }
            if (const std::optional<Answer> answer = e_prober.Await(left))
            {
                Take(*answer);
            }
        }
    }

    /// The last one of the probes that matter and may still be answered; all others are decided before it.
    const Probe* LastOpen() const
    {
        const auto found =
            std::find_if(m_probes.rbegin(), m_probes.rend(), [this](const Probe& probe) { return IsOpen(probe); });
        return found == m_probes.rend() ? nullptr : &*found;
    }

    bool IsOpen(const Probe& probe) const
    {
        return !probe.isAnswered && probe.timeToLive <= m_length && e_prober.Now() < probe.sent + m_settings.timeout;
    }

    void Take(const Answer& answer)
    {
        if (answer.sequence == 0 || answer.sequence > m_probes.size())
        {
            return;
        }
        Probe& probe = m_probes[answer.sequence - 1U];
        const nanoseconds time = answer.received - probe.sent;
        if (probe.isAnswered || time.count() < 0 || time > m_settings.timeout)
        {
            return;
        }
        probe.isAnswered = true;
        if (answer.endsPath && probe.timeToLive <= m_length)
        {
            m_length = probe.timeToLive;
            m_isEndKnown = true;
        }
        Station& station = m_stations[probe.timeToLive - 1U];
        if (station.address.empty())
        {
            station.address = answer.from;
            station.first = time;
        }
        station.times.Add(std::chrono::duration<double, std::milli>(time).count());
    }

    /// After a break nobody knows what would have become of what is on its way.
    void ForgetOpen()
    {
        for (const Probe& probe : m_probes)
        {
            if (IsOpen(probe))
            {
                --m_stations[probe.timeToLive - 1U].sent;
            }
        }
    }

    std::size_t CountHops() const
    {
        if (m_isEndKnown)
        {
            return m_length;
        }
        const auto last = std::find_if(
            m_stations.rbegin(), m_stations.rend(), [](const Station& station) { return station.times.Count() > 0; });
        const auto answering = static_cast<std::size_t>(m_stations.rend() - last);
        return std::min<std::size_t>(answering + 1, MostHops);
    }

    Trace Result()
    {
        if (IsOver())
        {
            ForgetOpen();
        }
        Trace trace;
        for (std::size_t i = 0; i < CountHops() && m_stations[i].sent > 0; ++i)
        {
            trace.hops.push_back(MakeHop(m_stations[i].address, m_stations[i].sent, m_stations[i].times));
        }
        if (m_isEndKnown)
        {
            trace.initialRoundTrip = m_stations[m_length - 1U].first;
        }
        return trace;
    }

    Prober& e_prober;
    TraceSettings m_settings;
    std::array<Station, MostHops> m_stations;
    std::vector<Probe> m_probes;
    /// Hops up to the end of the way, as far as that is known.
    std::uint8_t m_length = MostHops;
    bool m_isEndKnown = false;
};

} // namespace

Trace TracePath(Prober& prober, const TraceSettings& settings)
{
    return Run(prober, settings).Go();
}

} // namespace Lab::Tools
