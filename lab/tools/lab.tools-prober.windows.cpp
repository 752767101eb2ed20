#include "lab.tools-prober.hpp"

#include "lab.tools-console.windows.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

#include <iphlpapi.h>
// Behind the IP helper's types, which it needs.
#include <icmpapi.h>
#include <ipexport.h>

namespace Lab::Tools
{

namespace
{

using std::chrono::nanoseconds;

/// How long the system waits for an answer; the trace has a limit of its own.
constexpr DWORD LongestMs = 5000;

/// What came back, from the threads of the probes to that of the trace.
class Arrivals
{
public:
    Arrivals() : m_event(false, false)
    {
    }

    void Add(Answer answer)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_answers.push_back(std::move(answer));
        }
        m_event.SignalNoThrow();
    }

    std::optional<Answer> Take()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_answers.empty())
        {
            return std::nullopt;
        }
        Answer answer = std::move(m_answers.front());
        m_answers.pop_front();
        return answer;
    }

    HANDLE GetEvent() const noexcept
    {
        return m_event.GetHandle();
    }

private:
    std::mutex m_mutex;
    std::deque<Answer> m_answers;
    Shared::Concurrency::Event m_event;
};

enum class Meaning
{
    /// The target has the probe, or somebody says that there is no way further.
    EndOfPath,
    /// Its time to live was over.
    OnTheWay,
    /// Nobody has answered: the system itself says what went wrong.
    None
};

Meaning MeaningOf(ULONG status) noexcept
{
    switch (status)
    {
    case IP_TTL_EXPIRED_TRANSIT:
    case IP_TTL_EXPIRED_REASSEM:
        return Meaning::OnTheWay;
    case IP_SUCCESS:
    case IP_DEST_NET_UNREACHABLE:
    case IP_DEST_HOST_UNREACHABLE:
    case IP_DEST_PROT_UNREACHABLE:
    case IP_DEST_PORT_UNREACHABLE:
        return Meaning::EndOfPath;
    default:
        return Meaning::None;
    }
}

/// Sends an echo and waits for what comes of it.
void Probe(IPAddr target, std::uint16_t sequence, std::uint8_t timeToLive, Arrivals& arrivals)
{
    const HANDLE icmp = ::IcmpCreateFile();
    if (icmp == INVALID_HANDLE_VALUE)
    {
        return;
    }
    IP_OPTION_INFORMATION options = {};
    options.Ttl = timeToLive;
    std::array<char, ProbePayload> payload = {};
    // Room for the reply, what it brings back, an ICMP error, and the system's own notes.
    alignas(ICMP_ECHO_REPLY) std::array<char, sizeof(ICMP_ECHO_REPLY) + ProbePayload + 8 + 64> reply = {};
    const DWORD count = ::IcmpSendEcho(
        icmp, target, payload.data(), static_cast<WORD>(payload.size()), &options, reply.data(),
        static_cast<DWORD>(reply.size()), LongestMs);
    const nanoseconds received = Shared::Time::RealMonotonicNow();
    ::IcmpCloseHandle(icmp);
    ICMP_ECHO_REPLY first = {};
    std::memcpy(&first, reply.data(), sizeof first);
    const Meaning meaning = count == 0 ? Meaning::None : MeaningOf(first.Status);
    if (meaning == Meaning::None)
    {
        return;
    }
    Address from = {};
    std::memcpy(from.data(), &first.Address, from.size());
    arrivals.Add({sequence, ToText(from), meaning == Meaning::EndOfPath, received});
}

class EchoProber : public Prober
{
public:
    EchoProber(const Address& target, const BreakSignal& signal) : e_signal(signal)
    {
        std::memcpy(&m_target, target.data(), target.size());
    }

    ~EchoProber() override
    {
        for (std::thread& thread : m_threads)
        {
            thread.join();
        }
    }

    nanoseconds Now() const override
    {
        return Shared::Time::RealMonotonicNow();
    }

    void Send(std::uint16_t sequence, std::uint8_t timeToLive) override
    {
        m_threads.emplace_back([this, sequence, timeToLive] { Probe(m_target, sequence, timeToLive, m_arrivals); });
    }

    std::optional<Answer> Await(nanoseconds span) override
    {
        if (std::optional<Answer> answer = m_arrivals.Take())
        {
            return answer;
        }
        const HANDLE handles[] = {BreakEvent(), m_arrivals.GetEvent()};
        const auto spanMs = std::chrono::ceil<std::chrono::milliseconds>(span).count();
        (void)::WaitForMultipleObjects(
            2, handles, FALSE, static_cast<DWORD>(std::clamp<long long>(spanMs, 0, INFINITE - 1LL)));
        return m_arrivals.Take();
    }

    bool IsBrokenOff() const override
    {
        return e_signal.IsGiven();
    }

private:
    const BreakSignal& e_signal;
    IPAddr m_target = 0;
    Arrivals m_arrivals;
    std::deque<std::thread> m_threads;
};

} // namespace

ProbeKind SentKind(ProbeKind) noexcept
{
    return ProbeKind::Echo;
}

std::unique_ptr<Prober> MakeProber(ProbeKind, const std::string& target, std::uint16_t, const BreakSignal& signal)
{
    return std::make_unique<EchoProber>(ParseAddress(target), signal);
}

} // namespace Lab::Tools
