#include "shared.concurrency-thread.hpp"

#include "shared.concurrency-nativewait.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.platform-standarderror.hpp"
#include "shared.util-functions.hpp"

#include <exception>
#include <utility>

namespace Shared::Concurrency
{

Thread::Thread(std::string name)
    : m_progress(std::make_shared<Progress>()), m_stopEvent(false, true), m_name(std::move(name))
{
}

Thread::Thread(const Thread& other) = default;

// What was moved from still shares the progress, so that it can be asked.
Thread::Thread(Thread&& other) noexcept
    : m_progress(other.m_progress), // NOLINT(performance-move-constructor-init)
      m_threadId(std::exchange(other.m_threadId, 0)),
      m_handle(std::move(other.m_handle)),
      m_callable(other.m_callable),
      m_stopEvent(std::move(other.m_stopEvent)),
      m_control(std::move(other.m_control)),
      m_name(std::move(other.m_name))
{
}

void Thread::Close() noexcept
{
    m_handle.Close();
    m_stopEvent.Close();
    m_control.reset();
    m_threadId = 0;
}

Thread::~Thread() = default;

Thread& Thread::operator=(const Thread& other)
{
    if (this != &other)
    {
        // Through a copy, so that a handle that cannot be duplicated leaves this object as it was.
        *this = Thread(other);
    }
    return *this;
}

Thread& Thread::operator=(Thread&& other) noexcept
{
    if (this == &other)
    {
        return *this;
    }
    try
    {
        // Not taken away: the other's thread may be on its way to it.
        m_callable = other.m_callable;
        m_name = std::move(other.m_name);
        m_progress = other.m_progress;
        m_threadId = std::exchange(other.m_threadId, 0);
        m_handle = std::move(other.m_handle);
        m_stopEvent = std::move(other.m_stopEvent);
        m_control = std::move(other.m_control);
    }
    catch (const std::exception& exception)
    {
        Platform::PrintToStandardError(
            L"Thread::Move() failed: " + Util::ConvertStringType(std::string_view(exception.what())) + L"\n");
    }
    return *this;
}

bool Thread::IsInState(State value) const noexcept
{
    return GetState() == value;
}

void Thread::Terminate()
{
    RequireStarted("No thread handle to suspend");
    if (!Native::TerminateThread(GetHandle(), m_control.get(), TerminatedExitCode))
    {
        throw Exception::Win32Exception("TerminateThread() failed", Platform::LastError());
    }
    m_progress->exitCode = TerminatedExitCode;
    m_progress->state = State::Finished;
}

void Thread::Suspend()
{
    RequireStarted("No thread handle to suspend");
    // In one step, so that a thread that ends meanwhile is not taken for a suspended one for ever.
    State running = State::Running;
    if (!m_progress->state.compare_exchange_strong(running, State::Suspended))
    {
        throw Exception::RuntimeException("Thread was not running when request to suspend occurred.");
    }
    const std::uint32_t before = Native::SuspendThread(GetHandle(), m_control.get());
    if (before == 0 || before == Native::SuspendFailed)
    {
        throw Exception::Win32Exception("SuspendThread() failed", Platform::LastError());
    }
}

void Thread::Resume()
{
    RequireStarted("No thread handle to resume");
    State suspended = State::Suspended;
    if (!m_progress->state.compare_exchange_strong(suspended, State::Running))
    {
        throw Exception::RuntimeException("Thread was not suspended when request to resume occurred.");
    }
    const std::uint32_t before = Native::ResumeThread(GetHandle(), m_control.get());
    if (before == 0 || before == Native::SuspendFailed)
    {
        throw Exception::Win32Exception("ResumeThread() failed", Platform::LastError());
    }
}

bool Thread::JoinNoThrow(std::uint32_t timeoutMs) noexcept
{
    try
    {
        return Join(timeoutMs);
    }
    catch (const std::exception& exception)
    {
        Log::LogExceptionWarning("Failed to join thread", exception);
        return false;
    }
}

bool Thread::Join(std::uint32_t timeoutMs)
{
    const Raii::RawHandle handle = GetHandle();
    if (handle == nullptr)
    {
        return true;
    }
    const Native::WaitResult result = Native::Wait({&handle, 1}, false, timeoutMs, false);
    switch (result.status)
    {
    case Native::WaitStatus::Signalled:
        return true;
    case Native::WaitStatus::Abandoned:
        throw Exception::RuntimeException("Wait was abandoned");
    case Native::WaitStatus::Failed:
        throw Exception::Win32Exception("WaitForSingleObject() failed", result.error);
    case Native::WaitStatus::Timeout:
    case Native::WaitStatus::IoCompletion:
        break;
    }
    return false;
}

void Thread::Start(const std::function<int()>& callable)
{
    m_callable = std::make_shared<const std::function<int()>>(callable);
    Start();
}

void Thread::Start(int (*function)())
{
    m_callable = std::make_shared<const std::function<int()>>(function);
    Start();
}

void Thread::Start()
{
    // Before the thread exists, so that a stop that is asked for right after this call is not wiped out by it.
    m_stopEvent.Reset();
    const Native::StartedThread started = Native::StartThread(&Thread::Enter, this, m_name);
    if (started.handle == nullptr)
    {
        m_progress->state = State::FailedToStart;
        throw Exception::RuntimeException("Failed to start thread");
    }
    m_handle.Attach(started.handle);
    m_threadId = started.threadId;
    m_control = started.control;
}

Thread::State Thread::GetState() const noexcept
{
    return m_progress->state;
}

std::uint32_t Thread::GetExitCode() const noexcept
{
    return m_progress->exitCode;
}

const Raii::Win32Handle& Thread::GetHandleObject() const noexcept
{
    return m_handle;
}

Raii::RawHandle Thread::GetHandle() const noexcept
{
    return m_handle.GetRawHandle();
}

bool Thread::ShouldStop(std::uint32_t timeoutMs) const
{
    return m_stopEvent.WaitOnEvent(timeoutMs, false);
}

void Thread::RequestStop() noexcept
{
    m_stopEvent.SignalNoThrow();
}

const Event& Thread::GetStopEvent() const noexcept
{
    return m_stopEvent;
}

std::uint32_t Thread::GetThreadId() const noexcept
{
    return m_threadId;
}

void Thread::Main(Thread* thread)
{
    if (thread == nullptr)
    {
        throw Exception::RuntimeException("Unexpected nullptr when starting thread");
    }
    const std::shared_ptr<Progress> progress = thread->m_progress;
    progress->state = State::Running;
    try
    {
        progress->exitCode = static_cast<std::uint32_t>(thread->Run());
    }
    catch (const std::exception& exception)
    {
        Log::LogException("A thread encountered an unhandled exception", exception);
        progress->exitCode = FailedExitCode;
    }
    progress->state = State::Finished;
}

int Thread::Run()
{
    // Held here, so that the callable outlives its run whatever happens to this object meanwhile.
    const std::shared_ptr<const std::function<int()>> callable = m_callable;
    if (callable == nullptr)
    {
        throw std::bad_function_call();
    }
    return (*callable)();
}

void Thread::Enter(void* argument) noexcept
{
    Main(static_cast<Thread*>(argument));
}

void Thread::RequireStarted(const char* text) const
{
    if (!m_handle.IsValid())
    {
        throw Exception::RuntimeException(text);
    }
}

} // namespace Shared::Concurrency
