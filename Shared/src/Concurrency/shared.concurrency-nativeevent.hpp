#pragma once

#include "shared.raii-nativehandle.hpp"

#include <string>

namespace Shared::Concurrency::Native
{

/// What the kernel needs to know of an event that is made.
struct EventRequest
{
    bool inheritable = false;
    bool manualReset = false;
    bool initialState = false;
    /// Empty for an unnamed event.
    std::wstring name;
    /// SDDL text, revision 1; empty for the default. On Linux it is checked for its form and changes nothing: a named
    /// event is for the user who runs the agent, which is stricter than any descriptor.
    std::wstring securityDescriptor;
};

/// Creates, or opens when one of that name exists. Throws Win32Exception "Failed to convert security descriptor",
/// "Failed to create or open event".
Raii::RawHandle CreateEventObject(const EventRequest& request);

/// Opens an existing named event for waiting alone; null when there is none, with the code in LastError().
Raii::RawHandle OpenEventObject(const std::wstring& name);

/// Sets the event. False on failure, with the code in LastError(). Never blocks.
bool SetEventObject(Raii::RawHandle handle) noexcept;

/// Clears the event. As above.
bool ResetEventObject(Raii::RawHandle handle) noexcept;

} // namespace Shared::Concurrency::Native
