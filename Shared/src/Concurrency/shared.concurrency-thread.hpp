#pragma once

#include "shared.concurrency-event.hpp"
#include "shared.concurrency-nativethread.hpp"
#include "shared.raii-win32handle.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace Shared::Concurrency
{

/// One thread of the agent: a subclass overrides Run(), others give a callable to Start(). It is asked to end by its
/// stop event and ends by returning. Nothing joins it on destruction: the owner calls Join() first, and keeps the object
/// alive until then.
///
/// Start(), Suspend(), Resume(), Terminate() and Close() are for the owner; the accessors, the joins and RequestStop()
/// for any thread.
class Thread
{
public:
    enum class State : std::uint32_t
    {
        Finished = 0,
        FailedToStart = 1,
        Created = 2,
        Running = 3,
        Suspended = 4
    };

    /// Exit code while the thread has not ended.
    static constexpr std::uint32_t StillActive = 259;
    /// Exit code after an exception that nobody caught.
    static constexpr std::uint32_t FailedExitCode = 1;
    /// Exit code after Terminate().
    static constexpr std::uint32_t TerminatedExitCode = 5;

    /// @param name shown by debuggers and process lists; Linux keeps the first 15 bytes. Throws Win32Exception when the
    /// system has no event left.
    explicit Thread(std::string name = {});
    /// Copies share the running thread: its handle, stop event and state.
    Thread(const Thread& other);
    Thread(Thread&& other) noexcept;

    /// Closes handle and stop event and clears the id. The running thread is not joined and goes on.
    virtual void Close() noexcept;
    virtual ~Thread();
    /// Not virtual, as the assignments that every subclass has by itself would hide them.
    Thread& operator=(const Thread& other);
    Thread& operator=(Thread&& other) noexcept;

    virtual bool IsInState(State value) const noexcept;
    /// Ends the thread wherever it is, with exit code 5, and whatever it holds is lost: for the last resort. Throws the
    /// runtime exception "No thread handle to suspend", Win32Exception "TerminateThread() failed".
    virtual void Terminate();
    /// Stops the thread wherever it is. The system's answer to a first suspension, a count of zero, counts as failure: the
    /// thread stands still, the state is Suspended, and Win32Exception "SuspendThread() failed" is thrown. Throws the
    /// runtime exceptions "No thread handle to suspend" and "Thread was not running when request to suspend occurred.".
    virtual void Suspend();
    /// Lets it go on. Throws the runtime exceptions "No thread handle to resume" and "Thread was not suspended when
    /// request to resume occurred.", Win32Exception "ResumeThread() failed".
    virtual void Resume();
    /// Join() whose failure is logged at level warning as "Failed to join thread" and gives false.
    virtual bool JoinNoThrow(std::uint32_t timeoutMs) noexcept;
    /// True when the thread has ended within `timeoutMs` milliseconds or was never started, false at the time-out. Throws
    /// the runtime exception "Wait was abandoned", Win32Exception "WaitForSingleObject() failed".
    virtual bool Join(std::uint32_t timeoutMs);
    /// Stores the callable and starts. Its result is the exit code. Throws the runtime exception "Failed to start thread".
    virtual void Start(const std::function<int()>& callable);
    virtual void Start(int (*function)());
    virtual void Start();
    virtual State GetState() const noexcept;
    virtual std::uint32_t GetExitCode() const noexcept;
    virtual const Raii::Win32Handle& GetHandleObject() const noexcept;
    /// Signalled once the thread has ended; null before Start().
    virtual Raii::RawHandle GetHandle() const noexcept;
    /// Whether the thread was asked to stop, waiting for it up to `timeoutMs` milliseconds.
    virtual bool ShouldStop(std::uint32_t timeoutMs) const;

    /// Asks the thread to stop. Safe to repeat. It interrupts nothing: the body must look at ShouldStop() or wait on
    /// GetStopEvent() together with what else it waits for.
    void RequestStop() noexcept;
    /// Manual reset, cleared by Start().
    const Event& GetStopEvent() const noexcept;
    std::uint32_t GetThreadId() const noexcept;

    /// What a new thread does first. @param thread null throws the runtime exception "Unexpected nullptr when starting
    /// thread".
    static void Main(Thread* thread);

protected:
    /// The body, on the new thread. Calls the callable, std::bad_function_call without one. The result is the exit code.
    /// An exception derived from std::exception is logged at level error as "A thread encountered an unhandled exception"
    /// and gives exit code 1; anything else ends the process.
    virtual int Run();

private:
    /// What the running body still touches when the object has been moved or destroyed.
    struct Progress
    {
        std::atomic<State> state{State::Created};
        std::atomic<std::uint32_t> exitCode{StillActive};
    };

    static void Enter(void* argument) noexcept;
    void RequireStarted(const char* text) const;

    std::shared_ptr<Progress> m_progress;
    std::uint32_t m_threadId = 0;
    Raii::Win32Handle m_handle;
    /// Shared with copies and with the running body; null until one is given.
    std::shared_ptr<const std::function<int()>> m_callable;
    Event m_stopEvent;
    std::shared_ptr<Native::ThreadControl> m_control;
    std::string m_name;
};

} // namespace Shared::Concurrency
