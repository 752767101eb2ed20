#include "agentprocess.entrypoints.hpp"

#include "agentcore.io-ioworker.hpp"
#include "agentprocess.helpers.hpp"
#include "agentprocess.loopcontext.hpp"
#include "agentprocess.mainloop.hpp"
#include "shared.appsettings-appsettingsloader.hpp"
#include "shared.appsettings-enablement.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.com-cominitialiser.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-waitabletimer.hpp"
#include "shared.crypto-registrationkey.hpp"
#include "shared.crypto-sensitivestring.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-configuration.hpp"
#include "shared.log-functions.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.system-exitcode.hpp"
#include "shared.system-osversion.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-functions.hpp"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include <fmt/format.h>

namespace Agent::Process
{

using AgentCore::IO::IOWorker;
using AgentCore::Ops::AppState;
using Shared::Concurrency::Event;
using Shared::Concurrency::WaitableTimer;
using Shared::WinReg::RegKey;
using Shared::WinSock::WinSockInitialiser;

namespace Settings = Shared::AppSettings;

namespace
{

constexpr std::int32_t ShortestStartDelayMs = 1000;
constexpr std::int32_t LongestStartDelayMs = 10'000;
constexpr std::int64_t HeartbeatDueTime = -600'000'000; // 60 seconds from now
constexpr std::uint32_t HeartbeatPeriodMs = 60'000;
/// For the workers to end once they were told to.
constexpr std::uint32_t WorkerEndTimeoutMs = 3500;

/// A system that does not tell its build is taken for one that is new enough.
std::wstring ReadBuildNumber()
{
    try
    {
        return Shared::System::GetOsBuildNumber();
    }
    catch (const std::exception& exception)
    {
        Shared::Log::Debug("The system does not tell its build number: {}", exception.what());
        return {};
    }
}

void RefuseOldSystem()
{
    const std::wstring build = ReadBuildNumber();
    if (IsUnsupportedBuild(build))
    {
        Shared::Log::Warn(
            "This version of Windows 10 is pre-1809 (build {}) and is not supported.",
            Shared::Util::ConvertStringType(build));
        Shared::Log::ShutDown();
        Shared::System::ReportExitCode(UnsupportedSystemExitCode);
        Shared::System::LeaveProcess(UnsupportedSystemExitCode);
    }
}

Shared::Crypto::SensitiveString MakeKey()
{
    return Shared::Crypto::ToSensitiveString(Shared::Crypto::GetRegistrationKey());
}

/// Spreads the starts of many agents, and gives the parent time to make the event.
void DelayStart()
{
    const std::int32_t delayMs = Shared::Util::GeneratePseudorandomInt(ShortestStartDelayMs, LongestStartDelayMs);
    Shared::Log::Debug("Waiting {} ms before opening the stop event", delayMs);
    Shared::Time::SleepFor(std::chrono::milliseconds(delayMs));
}

Event MakeStopEvent(bool debugMode)
{
    if (debugMode)
    {
        Shared::Log::Debug("AgentProcess has been started in debug mode...");
        return Event(false, true, StopEventName);
    }
    DelayStart();
    return Event::OpenForWaiting(StopEventName);
}

/// What the agent owns from its start to its end. Destroyed in the reverse order.
struct ProcessObjects
{
    Shared::COM::ComInitialiser com;
    AppState appState;
    WinSockInitialiser winsock;
    Event stopEvent;
    Event registryChangedEvent;
    RegKey agentKey;
    std::unique_ptr<AgentCore::Ops::Identity> identity;
    /// Its thread uses the queues of the state above.
    std::unique_ptr<IOWorker> connectorWorker;
};

void StartConnectorWorker(ProcessObjects& objects)
{
    AppState& appState = objects.appState;
    objects.connectorWorker = std::make_unique<IOWorker>(
        appState.debugMode, appState.settings.server, &appState.outboundMessages, &appState.inboundMessages);
    objects.connectorWorker->Start();
}

/// Tells the worker to stop, and gives it its time for that. False when it is still at work afterwards.
bool StopConnectorWorker(ProcessObjects& objects)
{
    if (!objects.connectorWorker)
    {
        return true;
    }
    objects.connectorWorker->GetConnectorStopEvent().SignalNoThrow();
    // No handle: its thread could not be started.
    const Shared::Raii::RawHandle thread = objects.connectorWorker->GetHandle();
    return thread == nullptr || Shared::Concurrency::WaitFor(thread, WorkerEndTimeoutMs);
}

/// Whether a thread has outlived the objects' time, and with it the end of main().
std::atomic<bool> s_isThreadLeft{false};

/// Owns the objects until the end of ProcessMain(), however that comes. A worker that does not end in its time keeps them:
/// the process then leaves with nothing destroyed.
class ProcessScope
{
public:
    ProcessScope() : m_objects(std::make_unique<ProcessObjects>())
    {
    }

    ProcessScope(const ProcessScope&) = delete;
    ProcessScope& operator=(const ProcessScope&) = delete;

    ~ProcessScope()
    {
        try
        {
            if (StopConnectorWorker(*m_objects))
            {
                return;
            }
            Shared::Log::Warn(
                "The connector worker is still at work {} ms after it was told to stop", WorkerEndTimeoutMs);
        }
        catch (const std::exception& exception)
        {
            Shared::Log::LogException("The connector worker cannot be awaited", exception);
        }
        s_isThreadLeft = true;
        (void)m_objects.release();
    }

    ProcessObjects& GetObjects() noexcept
    {
        return *m_objects;
    }

private:
    std::unique_ptr<ProcessObjects> m_objects;
};

bool Initialise(int argc, const char* const* argv, ProcessObjects& objects)
{
    try
    {
        objects.com.Initialise();
        Shared::Crypto::SetBiosSerialProvider([] { return AgentCore::Ops::GetBiosSerialNumber(); });
        InitialiseProcess(
            argc, argv, objects.appState, objects.winsock, objects.stopEvent, objects.registryChangedEvent,
            objects.agentKey);
        objects.identity = std::make_unique<AgentCore::Ops::RegistryIdentity>(MakeKey());
        StartConnectorWorker(objects);
        return true;
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException(fmt::format("AgentProcess initialisation failed {}", exception.what()), exception);
        return false;
    }
}

std::int32_t RunMainLoop(ProcessObjects& objects)
{
    AgentCore::Ops::MessageResponses messageResponses;
    WaitableTimer upgradeTimer(false, false);
    WaitableTimer heartbeatTimer(false, false);
    Shared::WinReg::WatchKey(objects.agentKey, objects.registryChangedEvent);
    heartbeatTimer.SetTimerInNanos(HeartbeatDueTime, HeartbeatPeriodMs);
    LoopContext context{
        objects.appState,
        *objects.identity,
        *objects.connectorWorker,
        objects.agentKey,
        objects.stopEvent,
        objects.registryChangedEvent,
        messageResponses,
        upgradeTimer,
        heartbeatTimer,
        []
        {
            return std::make_shared<AgentCore::System::SystemQuerier>();
        }};
    return MainLoop(context).Run();
}

std::int32_t RunGuarded(int argc, const char* const* argv)
{
    try
    {
        return ProcessMain(argc, argv);
    }
    catch (const Shared::Exception::FatalException& exception)
    {
        Shared::Log::LogException("AgentProcess ends by a fatal exception", exception);
        return exception.GetCode();
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("AgentProcess ends by an unexpected exception", exception);
        return InitialisationFailedExitCode;
    }
}

} // namespace

void InitialiseProcess(
    int argc,
    const char* const* argv,
    AppState& appState,
    WinSockInitialiser& winsock,
    Event& stopEvent,
    Event& registryChangedEvent,
    RegKey& agentKey)
{
    appState.settings = Settings::LoadAppSettings(MakeKey());
    appState.debugMode = IsDebugRequested(argc, argv);
    ConfigureLogger(appState.settings, appState.debugMode);
    Shared::Protobuf::LogLibraryMessages();
    Shared::Log::Info("This agent is version {}", Shared::Util::ConvertStringType(appState.settings.installedVersion));
    Settings::SetStatus(
        Settings::GetUserSelectionEnabled() ? Settings::AgentStatus::Enabled : Settings::AgentStatus::Disabled, false);
    winsock.Initialise();
    registryChangedEvent = Event(false, false);
    agentKey = Shared::WinReg::OpenKey(Shared::WinReg::Root::LocalMachine, Settings::Paths::Agent);
    stopEvent = MakeStopEvent(appState.debugMode);
}

std::int32_t ProcessMain(int argc, const char* const* argv)
{
    RefuseOldSystem();
    ProcessScope scope;
    if (!Initialise(argc, argv, scope.GetObjects()))
    {
        return InitialisationFailedExitCode;
    }
    return RunMainLoop(scope.GetObjects());
}

std::int32_t RunProcess(int argc, const char* const* argv) noexcept
{
    const std::int32_t exitCode = RunGuarded(argc, argv);
    Shared::Log::Info("AgentProcess ends with exit code {}", exitCode);
    Shared::Log::ShutDown();
    Shared::System::ReportExitCode(exitCode);
    if (s_isThreadLeft)
    {
        Shared::System::LeaveProcess(exitCode);
    }
    return exitCode;
}

} // namespace Agent::Process
