#pragma once

#include "shared.raii-win32handle.hpp"

#include <string>

namespace Lab::Connector
{

/// The name of the event by which the agent stops its connector.
inline constexpr const wchar_t* StopEventName = L"ConnectorStopEvent";

/// How a process came to the event.
enum class EventSource
{
    /// There is none.
    None,
    Name,
    /// Linux: the descriptor that the parent let it inherit. The folder of the FIFO belongs to the agent's user, and the
    /// connector runs under a lesser one, which may not look in there.
    Inheritance
};

/// The event of that name, for waiting.
struct FoundEvent
{
    Shared::Raii::Win32Handle handle;
    EventSource source = EventSource::None;
    /// Why it could not be opened by its name; empty when it could.
    std::string problem;
};

/// Opens the event by its name, or takes what was inherited. Never throws for an event that is not there.
FoundEvent FindStopEvent(const std::wstring& name = StopEventName);

/// The inherited event of that name; null when there is none. Windows gives a child no way to tell its handles apart, and
/// needs none: the event's security descriptor lets the connector's account open it.
Shared::Raii::Win32Handle FindInheritedEvent(const std::wstring& name);

} // namespace Lab::Connector
