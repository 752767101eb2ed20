#pragma once

#include "shared.raii-nativehandle.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Shared::Concurrency
{

/// Results of the wait over several handles that are no index.
inline constexpr std::uint32_t WaitResultTimeout = 258;
inline constexpr std::uint32_t WaitResultIoCompletion = 192;
/// Most handles of one wait.
inline constexpr std::size_t MaximumWaitHandles = 64;

/// Waits until `handle` is signalled. True when it is; false at the time-out, and on an I/O completion wake-up of an
/// `alertable` wait (Windows only: Linux has no such wake-ups). An automatic-reset object is consumed by the wait.
/// @param timeoutMs milliseconds of the agent's clock, Shared::Time::Infinite for none; 0 looks without waiting.
/// Throws the invalid-argument exception "Handle is nullptr", the runtime exception "The wait was abandoned", and
/// Win32Exception "WaitForSingleObjectEx() failed". Any thread.
bool WaitFor(Raii::RawHandle handle, std::uint32_t timeoutMs, bool alertable = false);

/// Waits until one of `handles`, or with `waitAll` every one, is signalled.
/// @return the lowest index that is signalled, 0 when `waitAll`; WaitResultTimeout or WaitResultIoCompletion otherwise.
/// Only the object that the result names (with `waitAll`, all of them, together) is consumed.
/// Throws the invalid-argument exceptions "handles is empty", "Too many handles to wait on: {}" (above 64) and "Cannot
/// wait on null handle" before any wait, then as above.
std::uint32_t WaitFor(
    const std::vector<Raii::RawHandle>& handles, bool waitAll, std::uint32_t timeoutMs, bool alertable = false);

/// Ids of the running processes whose executable's name is `name`, without regard to case.
/// @param sessionId only processes of this session; negative means any. On Linux the kernel's login session number.
/// Throws the runtime exception "ProcessName cannot be empty."; Win32Exception "CreateToolhelp32Snapshot() failed",
/// "Process32First() failed"; and "ProcessIdToSessionId() failed" when the session of a matching process cannot be read.
std::vector<std::uint32_t> GetProcessIDByName(const std::wstring& name, std::int32_t sessionId);

} // namespace Shared::Concurrency
