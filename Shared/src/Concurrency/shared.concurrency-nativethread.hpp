#pragma once

#include "shared.raii-nativehandle.hpp"

#include <cstdint>
#include <memory>
#include <string>

namespace Shared::Concurrency::Native
{

/// What the system keeps of one running thread beyond its handle, for suspending and ending it; empty on Windows,
/// where the handle is enough.
class ThreadControl;

struct StartedThread
{
    /// Signalled once the thread has ended; null when it could not be started, with the code in LastError().
    Raii::RawHandle handle = nullptr;
    std::uint32_t threadId = 0;
    std::shared_ptr<ThreadControl> control;
};

/// The body of a thread and what it needs; taken over by the thread.
using ThreadBody = void (*)(void* argument) noexcept;

/// Starts a thread with the default stack size. @param name shown by debuggers; Linux keeps the first 15 bytes.
StartedThread StartThread(ThreadBody body, void* argument, const std::string& name) noexcept;

/// How often the thread was suspended before this call, or this value when the system refused.
inline constexpr std::uint32_t SuspendFailed = 0xFFFFFFFF;

/// Stops a thread wherever it is, with whatever it holds. Returns the suspend count before.
std::uint32_t SuspendThread(Raii::RawHandle handle, ThreadControl* control) noexcept;

/// Lets it go on once every suspension is undone. Returns the suspend count before.
std::uint32_t ResumeThread(Raii::RawHandle handle, ThreadControl* control) noexcept;

/// Ends a thread wherever it is, without unwinding: locks that it holds stay held, what it owns is lost. Its handle is
/// signalled. False when the system refused, also for a thread that has ended.
bool TerminateThread(Raii::RawHandle handle, ThreadControl* control, std::uint32_t exitCode) noexcept;

} // namespace Shared::Concurrency::Native
