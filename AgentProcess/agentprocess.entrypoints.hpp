#pragma once

#include "agentcore.ops-appstate.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.winreg-regkey.hpp"
#include "shared.winsock-winsockinitialiser.hpp"

#include <cstdint>

namespace Agent::Process
{

/// Exit code after an exception during initialisation.
inline constexpr std::int32_t InitialisationFailedExitCode = 1500;
/// Exit code on a Windows that is too old.
inline constexpr std::int32_t UnsupportedSystemExitCode = 6500;

/// The name of the event by which the agent is told to stop. Its parent has made it, with manual reset, before it starts
/// the agent; in debug mode the agent makes it itself.
inline constexpr const wchar_t* StopEventName = L"StopEvent";

/// The part of the start-up that fills the objects of ProcessMain(): settings, debug mode, logger, status, sockets, the
/// watched key and the stop event. Blocks for 1 to 10 seconds, drawn at random, unless in debug mode. Throws whatever
/// cannot be had.
void InitialiseProcess(
    int argc,
    const char* const* argv,
    AgentCore::Ops::AppState& appState,
    Shared::WinSock::WinSockInitialiser& winsock,
    Shared::Concurrency::Event& stopEvent,
    Shared::Concurrency::Event& registryChangedEvent,
    Shared::WinReg::RegKey& agentKey);

/// The whole life of the process: builds its long-lived objects, starts the connector worker, runs the main loop on the
/// calling thread, gives the worker 3.5 seconds to end, and returns the exit code. A failed initialisation is logged and
/// gives 1500. On a Windows older than 10 version 1809 it ends the process at once with 6500.
std::int32_t ProcessMain(int argc, const char* const* argv);

/// What main() does: ProcessMain(), the last line of the log, and the logger's shut-down. A FatalException that leaves
/// ProcessMain() gives its code, every other exception 1500. Does not return, and destroys nothing, when a worker has not
/// ended in its time.
std::int32_t RunProcess(int argc, const char* const* argv) noexcept;

} // namespace Agent::Process
