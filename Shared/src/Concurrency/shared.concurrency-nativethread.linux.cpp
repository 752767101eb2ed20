#include "shared.concurrency-nativethread.hpp"

#include "shared.concurrency-ordering.linux.hpp"
#include "shared.raii-nativehandle.linux.hpp"

#include <atomic>
#include <cerrno>
#include <climits>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

// Linux cannot stop or end one thread from outside. A signal to the thread does it: its handler waits while the thread
// is suspended, and leaves the thread for good when it is to end. The handler uses nothing but its own atomics and
// system calls, as the thread may be anywhere.

namespace Shared::Concurrency::Native
{

namespace
{

void FutexWait(std::atomic<std::uint32_t>& word, std::uint32_t expected, const timespec* timeout) noexcept
{
    (void)::syscall(
        SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAIT_PRIVATE, expected, timeout, nullptr, 0);
}

void FutexWake(std::atomic<std::uint32_t>& word) noexcept
{
    (void)::syscall(
        SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

} // namespace

class ThreadControl
{
public:
    explicit ThreadControl(int exitDescriptor) noexcept : m_exitDescriptor(exitDescriptor)
    {
    }

    ThreadControl(const ThreadControl&) = delete;
    ThreadControl& operator=(const ThreadControl&) = delete;

    ~ThreadControl()
    {
        ::close(m_exitDescriptor);
    }

    /// On the thread itself, first and last.
    void Begin() noexcept
    {
        m_kernelId.store(static_cast<pid_t>(::syscall(SYS_gettid)), std::memory_order_release);
    }

    void End() noexcept
    {
        {
            const std::scoped_lock hold(m_lock);
            m_ended = true;
        }
        SignalExit();
    }

    std::uint32_t Suspend() noexcept
    {
        const std::scoped_lock hold(m_lock);
        const std::uint32_t before = m_suspendCount.fetch_add(1, std::memory_order_acq_rel);
        if (!Notify())
        {
            m_suspendCount.fetch_sub(1, std::memory_order_acq_rel);
            return SuspendFailed;
        }
        AwaitParked();
        errno = 0;
        return before;
    }

    std::uint32_t Resume() noexcept
    {
        const std::scoped_lock hold(m_lock);
        const std::uint32_t before = m_suspendCount.load(std::memory_order_acquire);
        if (before > 0 && m_suspendCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        {
            FutexWake(m_suspendCount);
        }
        errno = m_ended ? ESRCH : 0;
        return m_ended ? SuspendFailed : before;
    }

    bool Terminate() noexcept
    {
        const std::scoped_lock hold(m_lock);
        m_terminate.store(true, std::memory_order_release);
        if (!Notify())
        {
            return false;
        }
        m_suspendCount.store(0, std::memory_order_release);
        FutexWake(m_suspendCount);
        m_ended = true;
        return true;
    }

    /// In the signal's handler, on the thread itself.
    void Obey() noexcept
    {
        LeaveIfTold();
        m_parked.store(1, std::memory_order_release);
        FutexWake(m_parked);
        while (const std::uint32_t count = m_suspendCount.load(std::memory_order_acquire))
        {
            FutexWait(m_suspendCount, count, nullptr);
        }
        m_parked.store(0, std::memory_order_release);
        LeaveIfTold();
    }

    static int Signal() noexcept
    {
        return SIGRTMIN + 4;
    }

private:
    void SignalExit() noexcept
    {
        PublishSignal();
        const std::uint64_t one = 1;
        (void)!::write(m_exitDescriptor, &one, sizeof one);
    }

    void LeaveIfTold() noexcept
    {
        if (m_terminate.load(std::memory_order_acquire))
        {
            SignalExit();
            (void)::syscall(SYS_exit, 0);
        }
    }

    /// Under the lock. False when the thread has ended.
    bool Notify() noexcept
    {
        if (m_ended)
        {
            errno = ESRCH;
            return false;
        }
        // A thread that is not there yet cannot be signalled; it gets there without anybody's help.
        while (m_kernelId.load(std::memory_order_acquire) == 0)
        {
            ::sched_yield();
        }
        return ::syscall(SYS_tgkill, ::getpid(), m_kernelId.load(), Signal()) == 0;
    }

    /// Until the thread stands still, or for a second: a thread inside of an uninterruptible call stops at its end.
    void AwaitParked() noexcept
    {
        const timespec step = {0, 10'000'000};
        for (int i = 0; i < 100 && m_parked.load(std::memory_order_acquire) == 0; ++i)
        {
            FutexWait(m_parked, 0, &step);
        }
    }

    int m_exitDescriptor;
    std::atomic<pid_t> m_kernelId{0};
    std::atomic<std::uint32_t> m_suspendCount{0};
    std::atomic<std::uint32_t> m_parked{0};
    std::atomic<bool> m_terminate{false};
    std::mutex m_lock;
    /// Under m_lock; a thread's number may be another's once it has ended.
    bool m_ended = false;
};

namespace
{

struct Start
{
    ThreadBody body;
    void* argument;
    std::shared_ptr<ThreadControl> control;
    std::string name;
};

/// Of the thread itself, for the handler. A plain pointer, so that reading it in a handler is safe.
thread_local ThreadControl* t_control = nullptr;

void OnSignal(int) noexcept
{
    const int error = errno;
    if (t_control != nullptr)
    {
        t_control->Obey();
    }
    errno = error;
}

bool InstallHandler() noexcept
{
    struct sigaction action = {};
    action.sa_handler = &OnSignal;
    action.sa_flags = SA_RESTART;
    ::sigfillset(&action.sa_mask);
    return ::sigaction(ThreadControl::Signal(), &action, nullptr) == 0;
}

void* Enter(void* parameter) noexcept
{
    const std::unique_ptr<Start> start(static_cast<Start*>(parameter));
    constexpr std::size_t LongestName = 15;
    if (!start->name.empty())
    {
        (void)::pthread_setname_np(::pthread_self(), start->name.substr(0, LongestName).c_str());
    }
    t_control = start->control.get();
    start->control->Begin();
    start->body(start->argument);
    start->control->End();
    t_control = nullptr;
    return nullptr;
}

int StartDetached(Start* start) noexcept
{
    pthread_t thread = {};
    pthread_attr_t attributes = {};
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    const int error = ::pthread_create(&thread, &attributes, &Enter, start);
    ::pthread_attr_destroy(&attributes);
    return error;
}

/// A number of our own: the kernel's is known only once the thread runs, and a caller wants it at once.
std::uint32_t NextThreadId() noexcept
{
    static std::atomic<std::uint32_t> s_last{0};
    return ++s_last;
}

StartedThread StartWithControl(ThreadBody body, void* argument, const std::string& name, int exitDescriptor)
{
    auto control = std::make_shared<ThreadControl>(exitDescriptor);
    const int forCaller = ::fcntl(exitDescriptor, F_DUPFD_CLOEXEC, 0);
    if (forCaller < 0)
    {
        return {};
    }
    auto start = std::make_unique<Start>(Start{body, argument, control, name});
    const int error = StartDetached(start.get());
    if (error != 0)
    {
        ::close(forCaller);
        errno = error;
        return {};
    }
    (void)start.release();
    return {Raii::Native::FromDescriptor(forCaller), NextThreadId(), std::move(control)};
}

} // namespace

StartedThread StartThread(ThreadBody body, void* argument, const std::string& name) noexcept
{
    static const bool s_installed = InstallHandler();
    const int exitDescriptor = s_installed ? ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : -1;
    if (exitDescriptor < 0)
    {
        return {};
    }
    try
    {
        return StartWithControl(body, argument, name, exitDescriptor);
    }
    catch (...)
    {
        errno = ENOMEM;
        return {};
    }
}

std::uint32_t SuspendThread(Raii::RawHandle, ThreadControl* control) noexcept
{
    return control == nullptr ? SuspendFailed : control->Suspend();
}

std::uint32_t ResumeThread(Raii::RawHandle, ThreadControl* control) noexcept
{
    return control == nullptr ? SuspendFailed : control->Resume();
}

bool TerminateThread(Raii::RawHandle, ThreadControl* control, std::uint32_t) noexcept
{
    return control != nullptr && control->Terminate();
}

} // namespace Shared::Concurrency::Native
