#include "lab.vellab-supervisor.hpp"

#include "lab.vellab-childprocess.hpp"
#include "lab.vellab-logtail.hpp"
#include "lab.vellab-settings.hpp"
#include "lab.vellab-surroundings.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.system-exitcode.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>
#include <fmt/ostream.h>

namespace Lab
{

namespace
{

namespace fs = std::filesystem;
using Shared::Concurrency::Event;
using Shared::Time::MonotonicNow;
using Shared::Time::MonotonicTime;
using std::chrono::milliseconds;

/// How often the log is looked at.
constexpr milliseconds LogInterval(100);
/// The agent waits 60 s for a worker and 3.5 s for its threads; what takes longer hangs.
constexpr milliseconds LongestEnd(65'000);

class Timeline
{
public:
    explicit Timeline(std::ostream& out) : e_out(out), m_start(MonotonicNow())
    {
    }

    template <typename... Args>
    void Tell(fmt::format_string<Args...> format, Args&&... args)
    {
        const std::chrono::duration<double> since = MonotonicNow() - m_start;
        fmt::print(e_out, "[{:7.3f}] vellab | {}\n", since.count(), fmt::format(format, std::forward<Args>(args)...));
        e_out.flush();
    }

    void Show(const std::string& agentLines)
    {
        e_out << agentLines;
        e_out.flush();
    }

private:
    std::ostream& e_out;
    MonotonicTime m_start;
};

fs::path PrepareFolder(const fs::path& results)
{
    fs::create_directories(results);
    if (!fs::is_empty(results))
    {
        throw std::invalid_argument("the results folder " + results.string() + " is not empty");
    }
    const fs::path folder = fs::absolute(results) / "agent";
    fs::create_directories(folder);
    return folder;
}

ChildRequest RequestFor(const Options& options, const fs::path& folder)
{
    ChildRequest request;
    request.program = folder / ProgramName("AgentProcess");
    fs::copy_file(options.agent, request.program);
    request.workingFolder = folder;
    request.output = folder / "standard-output.txt";
    request.errors = folder / "standard-error.txt";
    if (options.debug)
    {
        request.arguments.emplace_back("-d");
    }
    if (options.speed != 1.0)
    {
        request.arguments.push_back(fmt::format("--clock-speed={}", options.speed));
    }
    return request;
}

enum class EndOfRun
{
    AgentEnded,
    Interrupted,
    TimeOver
};

/// Shows the log until the agent ends, the user interrupts, or the time is over.
EndOfRun Watch(
    const ChildProcess& agent,
    LogTail& log,
    const Event* interrupted,
    std::optional<milliseconds> duration,
    Timeline& timeline)
{
    const MonotonicTime start = MonotonicNow();
    std::vector<Shared::Raii::RawHandle> handles = {agent.GetHandle()};
    if (interrupted != nullptr)
    {
        handles.push_back(interrupted->GetHandle());
    }
    while (!duration || MonotonicNow() - start < *duration)
    {
        const std::uint32_t woken =
            Shared::Concurrency::WaitFor(handles, false, static_cast<std::uint32_t>(LogInterval.count()));
        timeline.Show(log.ReadNew());
        if (woken != Shared::Concurrency::WaitResultTimeout)
        {
            return woken == 0 ? EndOfRun::AgentEnded : EndOfRun::Interrupted;
        }
    }
    return EndOfRun::TimeOver;
}

std::string DescribeStatus(const Outcome& outcome)
{
    if (!outcome.exitCode)
    {
        return "without an exit code";
    }
    if (outcome.exitStatus == outcome.exitCode)
    {
        return fmt::format("with exit code {}", *outcome.exitCode);
    }
    return fmt::format("with exit code {} (status {})", *outcome.exitCode, outcome.exitStatus.value_or(-1));
}

/// Where the agent makes the event itself, it may not be there yet, or not any more.
void SignalStop(Event& stopEvent, Timeline& timeline)
{
    timeline.Tell("signals the stop event");
    stopEvent.Signal();
}

Outcome AwaitEnd(ChildProcess& agent, LogTail& log, Timeline& timeline)
{
    Outcome outcome;
    if (Watch(agent, log, nullptr, LongestEnd, timeline) != EndOfRun::AgentEnded)
    {
        timeline.Tell("the agent did not end within {} s; kills it", LongestEnd.count() / 1000);
        outcome.wasKilled = true;
        agent.Kill();
    }
    timeline.Show(log.ReadRest());
    outcome.exitStatus = agent.GetExitStatus();
    outcome.exitCode = Shared::System::ReadReportedExitCode(agent.GetId());
    if (!outcome.exitCode)
    {
        outcome.exitCode = outcome.exitStatus;
    }
    return outcome;
}

} // namespace

Outcome Supervise(const Options& options, std::ostream& out)
{
    Timeline timeline(out);
    const fs::path folder = PrepareFolder(options.results);
    UseOwnSurroundings(fs::absolute(options.results));
    LayOutSettings(options.server);
    timeline.Tell("keeps everything in {}", fs::absolute(options.results).string());

    Event interrupted(false, true);
    SignalOnInterrupt(interrupted);
    Event stopEvent(false, true, L"StopEvent");

    const MonotonicTime started = MonotonicNow();
    ChildProcess agent(RequestFor(options, folder));
    timeline.Tell(
        "started the agent as process {}{}", agent.GetId(),
        options.debug ? " in debug mode" : "; it waits 1 to 10 s before it looks for its stop event");
    LogTail log(folder / "tarvane_vel_agent.log");
    const EndOfRun end = Watch(agent, log, &interrupted, options.duration, timeline);
    if (end != EndOfRun::AgentEnded)
    {
        if (end == EndOfRun::Interrupted)
        {
            timeline.Tell("was interrupted");
        }
        SignalStop(stopEvent, timeline);
    }
    const Outcome outcome = AwaitEnd(agent, log, timeline);
    const std::chrono::duration<double> lived = MonotonicNow() - started;
    timeline.Tell("the agent ended after {:.1f} s {}", lived.count(), DescribeStatus(outcome));
    return outcome;
}

} // namespace Lab
