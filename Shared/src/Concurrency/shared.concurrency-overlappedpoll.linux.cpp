#include "shared.concurrency-overlappedpoll.linux.hpp"

#include <array>
#include <atomic>
#include <cstdint>

#include <linux/aio_abi.h>
#include <poll.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

// The kernel's asynchronous I/O can poll, and tell the end of it by an eventfd, which is what an event is.

namespace Shared::Concurrency
{

namespace
{

/// Polls that may be under way; those of reads that were given up count until their socket changes or is shut down.
constexpr unsigned MostPolls = 256;

/// The kernel's queue, of the process and kept to its end, as giving it back takes long; 0 when there is none to be had.
aio_context_t GetContext() noexcept
{
    static const aio_context_t Context = []() noexcept
    {
        aio_context_t made = 0;
        return ::syscall(SYS_io_setup, MostPolls, &made) == 0 ? made : 0;
    }();
    return Context;
}

/// The queue keeps an entry for each poll that has ended until somebody takes it out.
void ForgetEnded(aio_context_t context) noexcept
{
    std::array<io_event, MostPolls> ended; // NOLINT(cppcoreguidelines-pro-type-member-init): only written to
    timespec atOnce = {0, 0};
    (void)::syscall(SYS_io_getevents, context, 0L, static_cast<long>(ended.size()), ended.data(), &atOnce);
}

} // namespace

bool SignalWhenReadable(int descriptor, int event) noexcept
{
    static std::atomic<unsigned> s_count{0};
    const aio_context_t context = GetContext();
    if (context == 0)
    {
        return false;
    }
    // Often enough that the queue never fills up with them.
    if (s_count.fetch_add(1, std::memory_order_relaxed) % (MostPolls / 4) == 0)
    {
        ForgetEnded(context);
    }
    iocb request = {};
    request.aio_lio_opcode = IOCB_CMD_POLL;
    request.aio_fildes = static_cast<std::uint32_t>(descriptor);
    request.aio_buf = POLLIN | POLLRDHUP;
    request.aio_flags = IOCB_FLAG_RESFD;
    request.aio_resfd = static_cast<std::uint32_t>(event);
    std::array<iocb*, 1> requests = {&request};
    return ::syscall(SYS_io_submit, context, 1L, requests.data()) == 1;
}

} // namespace Shared::Concurrency
