#pragma once

#include "shared.concurrency-thread.hpp"
#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace Shared::Concurrency
{

/// What a descriptor is watched for, bit by bit.
enum class Readiness : std::uint8_t
{
    Nothing = 0,
    Readable = 1,
    Writable = 2,
    Both = 3
};

/// Who goes on with operations once a descriptor is ready for it.
class ReadyHandler
{
public:
    ReadyHandler() = default;
    ReadyHandler(const ReadyHandler&) = delete;
    ReadyHandler& operator=(const ReadyHandler&) = delete;
    virtual ~ReadyHandler() = default;

    /// On the completion thread, once for each change of a watched descriptor: does all that can be done without
    /// blocking. May also be called without a reason.
    virtual void OnReady() noexcept = 0;
};

/// The thread of a process that ends its overlapped operations, as the kernel does on Windows: "pipe-completion". It
/// sleeps until a watched descriptor changes. Whoever has something to watch holds it; it is started for the first of
/// them and ends with the last, so an idle process has none.
///
/// Any thread may call anything, but a handler must not be the last to hold the thread.
class OverlappedThread
{
public:
    /// The process's thread, started when nobody holds it. Throws what Thread::Start() throws, and Win32Exception
    /// "epoll_create1() failed".
    static std::shared_ptr<OverlappedThread> Acquire();

    OverlappedThread(const OverlappedThread&) = delete;
    OverlappedThread& operator=(const OverlappedThread&) = delete;
    /// Ends the thread and waits for that.
    ~OverlappedThread();

    /// From now on `handler` is told when `descriptor` becomes ready in that way, or is already. Keeps the handler alive
    /// until Detach(). Throws Win32Exception "epoll_ctl() failed".
    void Attach(int descriptor, std::shared_ptr<ReadyHandler> handler, Readiness readiness);
    /// Changes what an attached descriptor is watched for; the handler is told when it is ready in the new way already.
    void Watch(int descriptor, Readiness readiness) noexcept;
    /// Afterwards no new call for this descriptor begins; one that has begun may still run.
    void Detach(int descriptor) noexcept;

private:
    OverlappedThread();

    int Run();
    std::shared_ptr<ReadyHandler> Find(int descriptor);

    Raii::Win32Handle m_epoll;
    std::mutex m_lock;
    /// By descriptor; under m_lock.
    std::unordered_map<int, std::shared_ptr<ReadyHandler>> m_handlers;
    Thread m_thread{"pipe-completion"};
};

} // namespace Shared::Concurrency
