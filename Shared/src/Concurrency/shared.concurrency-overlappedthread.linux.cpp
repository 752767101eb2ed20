#include "shared.concurrency-overlappedthread.linux.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include <sys/epoll.h>

namespace Shared::Concurrency
{

namespace
{

using Raii::Native::DescriptorOf;

epoll_event Interest(int descriptor, std::uint32_t events) noexcept
{
    epoll_event interest = {};
    interest.events = events;
    interest.data.fd = descriptor;
    return interest;
}

/// Edges, so that what nobody takes wakes the thread once and not for ever.
epoll_event Interest(int descriptor, Readiness readiness) noexcept
{
    const auto bits = static_cast<unsigned>(readiness);
    std::uint32_t events = EPOLLET;
    if ((bits & static_cast<unsigned>(Readiness::Readable)) != 0)
    {
        events |= EPOLLIN | EPOLLRDHUP;
    }
    if ((bits & static_cast<unsigned>(Readiness::Writable)) != 0)
    {
        events |= EPOLLOUT;
    }
    return Interest(descriptor, events);
}

} // namespace

std::shared_ptr<OverlappedThread> OverlappedThread::Acquire()
{
    static std::mutex s_lock;
    static std::weak_ptr<OverlappedThread> s_current;
    const std::scoped_lock hold(s_lock);
    std::shared_ptr<OverlappedThread> current = s_current.lock();
    if (current == nullptr)
    {
        current.reset(new OverlappedThread());
        s_current = current;
    }
    return current;
}

OverlappedThread::OverlappedThread() : m_epoll(Raii::Native::FromDescriptor(::epoll_create1(EPOLL_CLOEXEC)))
{
    if (!m_epoll.IsValid())
    {
        throw Exception::Win32Exception("epoll_create1() failed", Platform::LastError());
    }
    const int stop = DescriptorOf(m_thread.GetStopEvent().GetHandle());
    epoll_event interest = Interest(stop, static_cast<std::uint32_t>(EPOLLIN));
    if (::epoll_ctl(DescriptorOf(m_epoll.GetRawHandle()), EPOLL_CTL_ADD, stop, &interest) != 0)
    {
        throw Exception::Win32Exception("epoll_ctl() failed", Platform::LastError());
    }
    m_thread.Start([this] { return Run(); });
}

OverlappedThread::~OverlappedThread()
{
    m_thread.RequestStop();
    (void)m_thread.JoinNoThrow(Time::Infinite);
}

void OverlappedThread::Attach(int descriptor, std::shared_ptr<ReadyHandler> handler, Readiness readiness)
{
    // Known before the first call can come.
    {
        const std::scoped_lock hold(m_lock);
        m_handlers[descriptor] = std::move(handler);
    }
    epoll_event interest = Interest(descriptor, readiness);
    if (::epoll_ctl(DescriptorOf(m_epoll.GetRawHandle()), EPOLL_CTL_ADD, descriptor, &interest) != 0)
    {
        const std::uint32_t code = Platform::LastError();
        Detach(descriptor);
        throw Exception::Win32Exception("epoll_ctl() failed", code);
    }
}

void OverlappedThread::Watch(int descriptor, Readiness readiness) noexcept
{
    epoll_event interest = Interest(descriptor, readiness);
    (void)::epoll_ctl(DescriptorOf(m_epoll.GetRawHandle()), EPOLL_CTL_MOD, descriptor, &interest);
}

void OverlappedThread::Detach(int descriptor) noexcept
{
    (void)::epoll_ctl(DescriptorOf(m_epoll.GetRawHandle()), EPOLL_CTL_DEL, descriptor, nullptr);
    // Destroyed without the lock.
    std::shared_ptr<ReadyHandler> handler;
    const std::scoped_lock hold(m_lock);
    if (const auto found = m_handlers.find(descriptor); found != m_handlers.end())
    {
        handler = std::move(found->second);
        m_handlers.erase(found);
    }
}

int OverlappedThread::Run()
{
    const int stop = DescriptorOf(m_thread.GetStopEvent().GetHandle());
    const int epoll = DescriptorOf(m_epoll.GetRawHandle());
    std::array<epoll_event, 16> ready{};
    while (true)
    {
        const int count = ::epoll_wait(epoll, ready.data(), static_cast<int>(ready.size()), -1);
        for (const epoll_event& event : std::span(ready).first(static_cast<std::size_t>(std::max(count, 0))))
        {
            if (event.data.fd == stop)
            {
                return 0;
            }
            // A descriptor that was closed and given out again meanwhile gets a call for nothing.
            if (const std::shared_ptr<ReadyHandler> handler = Find(event.data.fd))
            {
                handler->OnReady();
            }
        }
    }
}

std::shared_ptr<ReadyHandler> OverlappedThread::Find(int descriptor)
{
    const std::scoped_lock hold(m_lock);
    const auto found = m_handlers.find(descriptor);
    return found == m_handlers.end() ? nullptr : found->second;
}

} // namespace Shared::Concurrency
