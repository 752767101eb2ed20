#include "lab.vellab-supervisor.hpp"

#include "lab.cloud-service.hpp"
#include "lab.process-functions.hpp"
#include "lab.scenario-parser.hpp"
#include "lab.vellab-childprocess.hpp"
#include "lab.vellab-faults.hpp"
#include "lab.vellab-logfollower.hpp"
#include "lab.vellab-runfolder.hpp"
#include "lab.vellab-scenariosettings.hpp"
#include "lab.vellab-servers.hpp"
#include "lab.vellab-surroundings.hpp"
#include "lab.vellab-timeline.hpp"
#include "lab.wire-names.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.system-exitcode.hpp"
#include "shared.time-clock.hpp"

#include <filesystem>
#include <optional>
#include <vector>

namespace Lab
{

namespace
{

namespace fs = std::filesystem;
using Shared::Concurrency::Event;
using Shared::Time::MonotonicNow;
using Shared::Time::MonotonicTime;
using std::chrono::milliseconds;

/// How often the log and the faults are looked at.
constexpr milliseconds Interval(50);
/// The agent waits 60 s for a worker and 3.5 s for its threads; what takes longer hangs.
constexpr milliseconds LongestEnd(65'000);
/// How long its children may take to end behind it.
constexpr milliseconds LongestLeave(2000);

enum class EndOfRun
{
    AgentEnded,
    Interrupted,
    TimeOver
};

Scenario ScenarioFor(const Options& options)
{
    Scenario scenario;
    if (!options.scenario.empty())
    {
        scenario = ReadScenario(options.scenario);
    }
    else if (options.connector.empty())
    {
        // An agent that has somebody to register waits for its connector, and for nothing else, not even its stop event.
        scenario.user.isSignedIn = false;
    }
    if (options.isServerGiven || options.scenario.empty())
    {
        scenario.server = options.server;
    }
    return scenario;
}

std::optional<milliseconds> DurationFor(const Options& options, const Scenario& scenario)
{
    if (options.isDurationGiven || !scenario.duration)
    {
        return options.duration;
    }
    return std::chrono::duration_cast<milliseconds>(*scenario.duration / options.speed);
}

ChildRequest RequestFor(const Options& options, const RunFolder& folder)
{
    ChildRequest request;
    request.program = folder.program;
    request.workingFolder = folder.agent;
    request.output = folder.agent / "standard-output.txt";
    request.errors = folder.agent / "standard-error.txt";
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

/// One run of the laboratory.
class Laboratory
{
public:
    Laboratory(const Options& options, std::ostream& out)
        : m_options(options),
          m_scenario(ScenarioFor(options)),
          m_duration(DurationFor(options, m_scenario)),
          m_folder(LayOutRunFolder(options)),
          m_timeline(out),
          m_log(m_folder.agent / "tarvane_vel_agent.log", m_timeline, options.speed, options.wholeLog)
    {
        UseOwnSurroundings(m_folder.results);
        Process::AdoptOrphans();
        m_interrupted = Event(false, true);
        SignalOnInterrupt(m_interrupted);
    }

    Laboratory(const Laboratory&) = delete;
    Laboratory& operator=(const Laboratory&) = delete;

    ~Laboratory()
    {
        StopSignalling();
    }

    Outcome Run()
    {
        m_timeline.Tell(
            "keeps everything in {}{}", m_folder.results.string(),
            m_scenario.title.empty() ? std::string() : "; plays: " + m_scenario.title);
        LayOutScenario(m_scenario);
        Cloud::Service cloud(
            m_scenario, m_folder.cloud, m_options.speed,
            [this](std::string_view who, std::string_view what) { m_timeline.Add(who, what); });
        m_timeline.Tell("the cloud listens at {}", Net::ToText(cloud.GetEndpoint()));
        Control::WriteConnectorFile(
            m_folder.agent, MakeConnectorFile(m_scenario, cloud.GetEndpoint(), m_options.speed));
        Outcome outcome;
        for (std::uint32_t start = 1; start <= m_options.starts; ++start)
        {
            outcome = RunStart(start, cloud);
            if (!IsGood(outcome) || m_interrupted.WaitOnEvent(0))
            {
                break;
            }
        }
        cloud.Stop();
        TellMessages(cloud.GetCounts());
        m_timeline.Write(m_folder.timeline);
        return outcome;
    }

private:
    Outcome RunStart(std::uint32_t start, Cloud::Service& cloud)
    {
        if (m_options.starts > 1)
        {
            m_timeline.Tell("start {} of {}", start, m_options.starts);
        }
        FaultSchedule faults(m_scenario.faults, start);
        FaultInjector injector(cloud, m_timeline, m_options.speed, ConnectorProgram);
        m_acceptedBefore = cloud.GetAccepted();
        m_registered.reset();
        for (const Fault& fault : faults.TakeDue(AgentSeconds(0), std::nullopt))
        {
            injector.Inject(fault, 0);
        }

        Event stopEvent(false, true, L"StopEvent");
        m_started = MonotonicNow();
        ChildProcess agent(RequestFor(m_options, m_folder));
        m_log.BeginStart();
        m_timeline.Tell(
            "started the agent as process {}{}", agent.GetId(),
            m_options.debug ? " in debug mode" : "; it waits 1 to 10 s before it looks for its stop event");
        const auto look = [&]
        {
            InjectDue(faults, injector, cloud, agent);
        };
        const EndOfRun end = Watch(agent, true, m_duration, look);
        TellLeftFaults(faults);
        if (end != EndOfRun::AgentEnded)
        {
            if (end == EndOfRun::Interrupted)
            {
                m_timeline.Tell("was interrupted");
            }
            m_timeline.Tell("signals the stop event");
            stopEvent.Signal();
        }
        return AwaitEnd(agent);
    }

    void InjectDue(
        FaultSchedule& faults, FaultInjector& injector, const Cloud::Service& cloud, const ChildProcess& agent)
    {
        const AgentSeconds now = std::chrono::duration<double>(MonotonicNow() - m_started) * m_options.speed;
        if (!m_registered && cloud.GetAccepted() > m_acceptedBefore)
        {
            m_registered = now;
        }
        for (const Fault& fault : faults.TakeDue(now, m_registered))
        {
            injector.Inject(fault, agent.GetId());
        }
    }

    void TellLeftFaults(const FaultSchedule& faults)
    {
        if (!faults.GetLeft().empty())
        {
            m_timeline.Tell("{} of the scenario's faults did not come to pass", faults.GetLeft().size());
        }
    }

    /// Follows the log and looks after everything else, until the agent ends, the user interrupts, or the time is over.
    template <typename Look>
    EndOfRun Watch(const ChildProcess& agent, bool mayInterrupt, std::optional<milliseconds> duration, Look&& look)
    {
        const MonotonicTime start = MonotonicNow();
        std::vector<Shared::Raii::RawHandle> handles = {agent.GetHandle()};
        if (mayInterrupt)
        {
            handles.push_back(m_interrupted.GetHandle());
        }
        while (!duration || MonotonicNow() - start < *duration)
        {
            const std::uint32_t woken =
                Shared::Concurrency::WaitFor(handles, false, static_cast<std::uint32_t>(Interval.count()));
            m_log.Poll();
            if (woken != Shared::Concurrency::WaitResultTimeout)
            {
                return woken == 0 ? EndOfRun::AgentEnded : EndOfRun::Interrupted;
            }
            look();
        }
        return EndOfRun::TimeOver;
    }

    Outcome AwaitEnd(ChildProcess& agent)
    {
        Outcome outcome;
        outcome.expectedExitCode = m_scenario.exitCode;
        if (Watch(agent, false, LongestEnd, [] {}) != EndOfRun::AgentEnded)
        {
            m_timeline.Tell("the agent did not end within {} s; kills it", LongestEnd.count() / 1000);
            outcome.wasKilled = true;
            agent.Kill();
        }
        m_log.Finish();
        outcome.exitStatus = agent.GetExitStatus();
        outcome.exitCode = Shared::System::ReadReportedExitCode(agent.GetId());
        if (!outcome.exitCode)
        {
            outcome.exitCode = outcome.exitStatus;
        }
        const std::chrono::duration<double> lived = MonotonicNow() - m_started;
        m_timeline.Tell(
            "the agent ended after {:.1f} s {}{}", lived.count(), DescribeStatus(outcome),
            outcome.exitCode == outcome.expectedExitCode
                ? std::string()
                : fmt::format(", and {} was expected", outcome.expectedExitCode));
        outcome.leftProcesses = EndLeftProcesses(agent.GetId());
        return outcome;
    }

    /// The agent's children end with it. Those that do not are ended here, and told.
    bool EndLeftProcesses(std::uint32_t agentId)
    {
        const MonotonicTime end = MonotonicNow() + LongestLeave;
        std::vector<Process::Entry> left = FindLeft(agentId);
        while (!left.empty() && MonotonicNow() < end)
        {
            Shared::Time::SleepFor(Interval);
            left = FindLeft(agentId);
        }
        for (const Process::Entry& entry : left)
        {
            m_timeline.Tell("the agent left process {} behind ({}); kills it", entry.id, entry.program.string());
            (void)Process::Kill(entry);
        }
        Process::ReleaseEnded(Process::DescendantsOf(Process::OwnId(), Process::List()));
        return !left.empty();
    }

    static std::vector<Process::Entry> FindLeft(std::uint32_t agentId)
    {
        std::vector<Process::Entry> left;
        const std::vector<Process::Entry> all = Process::List();
        for (const std::uint32_t ancestor : {agentId, Process::OwnId()})
        {
            for (const Process::Entry& entry : Process::DescendantsOf(ancestor, all))
            {
                if (Process::HasName(entry, ConnectorProgram))
                {
                    left.push_back(entry);
                }
            }
        }
        return left;
    }

    void TellMessages(const Cloud::MessageCounts& counts)
    {
        for (const auto& [kind, count] : counts)
        {
            m_timeline.Add(
                "cloud",
                fmt::format(
                    "{} {} time{}: {} ({})", kind.first == Cloud::Direction::FromAgent ? "received" : "sent", count,
                    count == 1 ? "" : "s", Wire::NameOf(kind.second), kind.second));
        }
    }

    Options m_options;
    Scenario m_scenario;
    std::optional<milliseconds> m_duration;
    RunFolder m_folder;
    Timeline m_timeline;
    LogFollower m_log;
    Event m_interrupted;
    MonotonicTime m_started;
    std::size_t m_acceptedBefore = 0;
    std::optional<AgentSeconds> m_registered;
};

} // namespace

bool IsGood(const Outcome& outcome) noexcept
{
    return !outcome.wasKilled && !outcome.leftProcesses && outcome.exitCode == outcome.expectedExitCode;
}

Outcome Supervise(const Options& options, std::ostream& out)
{
    return Laboratory(options, out).Run();
}

} // namespace Lab
