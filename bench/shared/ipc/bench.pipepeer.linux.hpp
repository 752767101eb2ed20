#pragma once

#include "shared.concurrency-functions.hpp"
#include "shared.ipc-asyncmessagebasednamedpipe.hpp"
#include "shared.ipc-util.hpp"
#include "shared.time-clock.hpp"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Bench
{

/// Keeps the calling thread, and those that it starts from now on, on one processor. Where processes run decides over how
/// long a wake-up takes by far more than how it is asked for, so both sides of the comparison are told.
inline void StayOn(int processor)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<unsigned>(processor), &set);
    (void)::pthread_setaffinity_np(::pthread_self(), sizeof set, &set);
}

/// How a talker waits for its read.
enum class Wait
{
    /// For the operation itself, which the waiting thread then ends.
    ForIt,
    /// For its event, as the agent's workers do, who wait for several things at once: another thread ends it.
    ForItsEvent
};

/// One end of a pipe on which one read is always pending.
class PipeTalker
{
public:
    PipeTalker(Shared::Ipc::AsyncMessageBasedNamedPipe& pipe, Wait wait)
        : e_pipe(pipe), m_wait(wait), m_read(pipe.Read())
    {
    }

    /// Gives the bytes back, for the next message.
    std::vector<std::uint8_t> Send(std::vector<std::uint8_t> message)
    {
        auto write = e_pipe.Write(std::move(message));
        if (!write.WaitForCompletion(Shared::Time::Infinite) || !write.IsSuccessful())
        {
            std::abort();
        }
        return std::move(write.GetBuffer());
    }

    /// Calls `use` with the next message, which it may take away.
    template <typename Use>
    void Receive(Use use)
    {
        if (m_wait == Wait::ForIt)
        {
            (void)m_read.WaitForCompletion(Shared::Time::Infinite);
        }
        else
        {
            const std::vector<Shared::Raii::RawHandle> handles = {m_read.GetWaitableHandle()};
            (void)Shared::Concurrency::WaitFor(handles, false, Shared::Time::Infinite);
        }
        (void)Shared::Ipc::CompleteRead(e_pipe, m_read);
        use(m_read.GetBuffer());
        m_read = e_pipe.Read();
    }

private:
    Shared::Ipc::AsyncMessageBasedNamedPipe& e_pipe;
    Wait m_wait;
    Shared::Concurrency::OverlappedIo m_read;
};

/// The floor: the same bytes over one of two connected stream sockets, by blocking calls and nothing else. Both sides
/// know the length of what comes.
class SocketTalker
{
public:
    explicit SocketTalker(int descriptor) : m_descriptor(descriptor)
    {
    }

    void Send(const std::vector<std::uint8_t>& message) const
    {
        for (std::size_t done = 0; done < message.size();)
        {
            done += Progress(::send(m_descriptor, message.data() + done, message.size() - done, MSG_NOSIGNAL));
        }
    }

    void Receive(std::vector<std::uint8_t>& message) const
    {
        for (std::size_t done = 0; done < message.size();)
        {
            done += Progress(::recv(m_descriptor, message.data() + done, message.size() - done, 0));
        }
    }

private:
    static std::size_t Progress(ssize_t result)
    {
        if (result <= 0)
        {
            std::exit(EXIT_SUCCESS);
        }
        return static_cast<std::size_t>(result);
    }

    int m_descriptor;
};

} // namespace Bench
