#include "lab.vellab-supervisor.hpp"

#include "lab.cloud-service.hpp"
#include "lab.process-functions.hpp"
#include "lab.scenario-parser.hpp"
#include "lab.vellab-chaintimes.hpp"
#include "lab.vellab-childprocess.hpp"
#include "lab.vellab-faults.hpp"
#include "lab.vellab-logfollower.hpp"
#include "lab.vellab-runfolder.hpp"
#include "lab.vellab-scenariosettings.hpp"
#include "lab.vellab-servers.hpp"
#include "lab.vellab-settings.hpp"
#include "lab.vellab-surroundings.hpp"
#include "lab.vellab-timeline.hpp"
#include "lab.wire-names.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.system-exitcode.hpp"
#include "shared.time-clock.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

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
    EverythingSaid,
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

/// Where there is no account for it, an agent that has a connector is started so that it needs none.
Options OptionsFor(Options options)
{
    options.debug = options.debug || (!options.connector.empty() && !HasServiceAccounts());
    return options;
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

std::string CountOf(std::size_t number, const char* what)
{
    return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

/// What is wrong with a run, for people; empty when nothing is.
std::string DescribeFailure(const Outcome& outcome)
{
    std::vector<std::string> reasons;
    if (outcome.wasKilled)
    {
        reasons.emplace_back("the agent did not end and was killed");
    }
    else if (outcome.exitCode != outcome.expectedExitCode)
    {
        reasons.push_back(
            fmt::format("it ended {}, and {} was expected", DescribeStatus(outcome), outcome.expectedExitCode));
    }
    if (outcome.leftProcesses)
    {
        reasons.emplace_back("it left a process behind");
    }
    if (outcome.missed)
    {
        reasons.push_back(fmt::format("its log never said \"{}\"", *outcome.missed));
    }
    return fmt::format("{}", fmt::join(reasons, "; "));
}

/// One run of the laboratory.
class Laboratory
{
public:
    Laboratory(const Options& options, std::ostream& out)
        : m_options(OptionsFor(options)),
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
        if (m_options.speed != 1.0)
        {
            m_timeline.Tell(
                "the times of the agent and of the scenario pass {} times as fast as the seconds in front of these lines",
                m_options.speed);
        }
        if (!m_options.connector.empty() && !HasServiceAccounts())
        {
            m_timeline.Tell(
                "there are no service accounts here: the agent runs in debug mode, and its connector as itself");
        }
        WarnOfClosedFolder();
        LayOutScenario(m_scenario);
        Cloud::Service cloud(
            m_scenario, m_folder.cloud, m_options.speed,
            [this](std::string_view who, std::string_view what) { Observe(who, what); });
        m_timeline.Tell("the cloud listens at {}", Net::ToText(cloud.GetEndpoint()));
        Control::WriteConnectorFile(
            m_folder.agent, MakeConnectorFile(m_scenario, cloud.GetEndpoint(), m_options.speed));
        Outcome outcome;
        std::uint32_t starts = 0;
        for (std::uint32_t start = 1; start <= m_options.starts; ++start)
        {
            ++starts;
            outcome = RunStart(start, cloud);
            if (!IsGood(outcome) || m_interrupted.WaitOnEvent(0))
            {
                break;
            }
        }
        cloud.Stop();
        TellMessages(cloud.GetCounts());
        TellSummary(starts, cloud, outcome);
        m_timeline.Write(m_folder.timeline);
        return outcome;
    }

private:
    void WarnOfClosedFolder()
    {
        const fs::path closed = m_options.debug ? fs::path() : FindClosedFolder(m_folder.agent);
        if (!m_options.connector.empty() && !closed.empty())
        {
            m_timeline.Tell(
                "warning: {} is closed to other accounts, and the agent starts its connector under one: it will hardly come "
                "up; open that folder (chmod o+x), or name another one by --results",
                closed.string());
        }
    }

    /// Called from the cloud's threads.
    void Observe(std::string_view who, std::string_view what)
    {
        // One for each message, which the cloud tells as well.
        const bool isDetail = who == "connector" && what.starts_with("[debug]");
        if (!isDetail || m_options.wholeLog)
        {
            m_timeline.Add(who, what);
        }
    }

    Outcome RunStart(std::uint32_t start, Cloud::Service& cloud)
    {
        if (m_options.starts > 1)
        {
            m_timeline.Tell("start {} of {}", start, m_options.starts);
        }
        FaultSchedule faults(m_scenario.faults, start);
        FaultInjector injector(cloud, m_timeline, m_options.speed, ConnectorProgram);
        m_acceptedBefore = cloud.GetAccepted();
        m_milestones = {};
        for (const Fault& fault : faults.TakeDue(AgentSeconds(0), {}))
        {
            ++m_faultCount;
            injector.Inject(fault, 0);
        }

        Event stopEvent(false, true, L"StopEvent");
        m_started = MonotonicNow();
        ChildProcess agent(RequestFor(m_options, m_folder));
        m_log.BeginStart(m_options.until);
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
            m_timeline.Tell(
                "signals the stop event{}",
                end == EndOfRun::EverythingSaid ? ", as the agent's log says what was waited for" : "");
            stopEvent.Signal();
        }
        return AwaitEnd(agent);
    }

    void InjectDue(
        FaultSchedule& faults, FaultInjector& injector, const Cloud::Service& cloud, const ChildProcess& agent)
    {
        const AgentSeconds now = std::chrono::duration<double>(MonotonicNow() - m_started) * m_options.speed;
        if (!m_milestones.registered && cloud.GetAccepted() > m_acceptedBefore)
        {
            m_milestones.registered = now;
        }
        if (!m_milestones.linked && cloud.GetAcceptedAtLastLink() > m_acceptedBefore)
        {
            m_milestones.linked = now;
        }
        if (!m_milestones.configured && m_log.HasEntered("ConfigCompleted"))
        {
            m_milestones.configured = now;
        }
        for (const Fault& fault : faults.TakeDue(now, m_milestones))
        {
            ++m_faultCount;
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
            if (mayInterrupt && !m_options.until.empty() && !m_log.GetAwaited())
            {
                return EndOfRun::EverythingSaid;
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
        outcome.missed = m_log.GetAwaited();
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

    void TellSummary(std::uint32_t starts, const Cloud::Service& cloud, const Outcome& outcome)
    {
        const LogCounts& log = m_log.GetCounts();
        m_timeline.Tell(
            "in all: {}, {}, {}, {} accepted; the agent's log has {} and {}", CountOf(starts, "start"),
            CountOf(m_faultCount, "fault"), CountOf(cloud.GetConnectorStarts(), "start") + " of the connector",
            CountOf(cloud.GetAccepted(), "registration"), CountOf(log.warnings, "warning"),
            CountOf(log.errors, "error"));
        const std::string chains =
            DescribeChains(FindChains(cloud.GetExchanges(), m_log.GetStates(), m_timeline), m_options.speed);
        if (!chains.empty())
        {
            m_timeline.Tell("{}", chains);
            m_timeline.Tell("{}", DescribeUpgradeHandOff(ReadUpgradeHandOff()));
        }
        const std::string failure = DescribeFailure(outcome);
        m_timeline.Tell("{}", failure.empty() ? "the run went as it should" : "the run failed: " + failure);
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
    std::size_t m_faultCount = 0;
    Milestones m_milestones;
};

} // namespace

bool IsGood(const Outcome& outcome) noexcept
{
    return !outcome.wasKilled && !outcome.leftProcesses && !outcome.missed &&
        outcome.exitCode == outcome.expectedExitCode;
}

Outcome Supervise(const Options& options, std::ostream& out)
{
    return Laboratory(options, out).Run();
}

} // namespace Lab
