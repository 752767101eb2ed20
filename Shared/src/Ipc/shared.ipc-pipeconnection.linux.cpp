#include "shared.ipc-pipeconnection.linux.hpp"

#include "shared.concurrency-ordering.linux.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <numeric>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace Shared::Ipc::Native
{

namespace
{

using Concurrency::OverlappedBlock;
using Concurrency::Readiness;
namespace NtStatus = Concurrency::NtStatus;

iovec ToVector(std::span<std::uint8_t> bytes) noexcept
{
    return {bytes.data(), bytes.size()};
}

/// For sending: the system's type cannot say that it only reads.
iovec ToVector(std::span<const std::uint8_t> bytes) noexcept
{
    return {const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
}

/// One packet into the places; its size, or -1 with errno. A packet larger than they are counts as larger.
ssize_t ReceivePacket(int descriptor, const Frames::MessageReader::Places& places) noexcept
{
    std::array<iovec, 3> vectors = {ToVector(places.header), ToVector(places.direct), ToVector(places.kept)};
    msghdr message = {};
    message.msg_iov = vectors.data();
    message.msg_iovlen = vectors.size();
    ssize_t size = 0;
    do
    {
        size = ::recvmsg(descriptor, &message, MSG_DONTWAIT | MSG_TRUNC);
    } while (size < 0 && errno == EINTR);
    return size;
}

/// Larger than the default where the system allows it, so that more than one large packet is on its way.
void EnlargeBuffer(int descriptor) noexcept
{
    const int wanted = static_cast<int>(4 * Frames::LargestPart);
    (void)::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted);
}

/// A time limit, and what is left of it as the kernel takes it.
class RealDeadline
{
public:
    explicit RealDeadline(std::uint32_t timeoutMs) noexcept
        : m_isEndless(timeoutMs == Time::Infinite),
          m_end(Time::RealMonotonicNow() + Time::ToRealSpan(std::chrono::milliseconds(timeoutMs)))
    {
    }

    /// Null means no end. Valid until the next call.
    const timespec* GetLeft() noexcept
    {
        const auto left = std::max(std::chrono::nanoseconds::zero(), m_end - Time::RealMonotonicNow());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
        m_left = {static_cast<time_t>(seconds.count()), static_cast<long>((left - seconds).count())};
        return m_isEndless ? nullptr : &m_left;
    }

private:
    bool m_isEndless;
    std::chrono::nanoseconds m_end;
    timespec m_left{};
};

bool Has(Readiness whole, Readiness part) noexcept
{
    return (static_cast<unsigned>(whole) & static_cast<unsigned>(part)) != 0;
}

Readiness With(Readiness first, Readiness second) noexcept
{
    return static_cast<Readiness>(static_cast<unsigned>(first) | static_cast<unsigned>(second));
}

Readiness Without(Readiness whole, Readiness part) noexcept
{
    return static_cast<Readiness>(static_cast<unsigned>(whole) & ~static_cast<unsigned>(part));
}

} // namespace

/// While it is there, the calling thread sees to it that an operation goes on, and the completion thread need not.
class PipeConnection::Awaiting
{
public:
    Awaiting(PipeConnection& connection, const OverlappedBlock& block) noexcept : e_connection(connection)
    {
        const std::scoped_lock hold(e_connection.m_lock);
        const Readiness direction = e_connection.DirectionOf(block);
        if (!Has(e_connection.m_awaited, direction))
        {
            m_direction = direction;
            e_connection.m_awaited = With(e_connection.m_awaited, direction);
            e_connection.UpdateWatch();
        }
    }

    Awaiting(const Awaiting&) = delete;
    Awaiting& operator=(const Awaiting&) = delete;

    ~Awaiting()
    {
        const std::scoped_lock hold(e_connection.m_lock);
        e_connection.m_awaited = Without(e_connection.m_awaited, m_direction);
        e_connection.UpdateWatch();
    }

    /// What to poll for; Nothing when the operation is not pending, or another thread does so already.
    Readiness GetDirection() const noexcept
    {
        return m_direction;
    }

private:
    PipeConnection& e_connection;
    Readiness m_direction = Readiness::Nothing;
};

PipeConnection::PipeConnection(Raii::Win32Handle socket, Concurrency::OverlappedThread* thread)
    : e_thread(thread), m_descriptor(Raii::Native::DescriptorOf(socket.GetRawHandle())), m_socket(std::move(socket))
{
    EnlargeBuffer(m_descriptor);
}

int PipeConnection::GetDescriptor() const noexcept
{
    return m_descriptor;
}

std::uint32_t PipeConnection::StartRead(const BlockPointer& block)
{
    // What has come by now is for the reads that were there before.
    BringUpToDate();
    Outcome outcome;
    {
        const std::scoped_lock hold(m_lock);
        if (!m_socket.IsValid())
        {
            return Platform::ErrorCode::PipeNotConnected;
        }
        m_reads.push_back({block});
        block->Begin();
        outcome = m_reads.size() == 1 ? GoOn(m_reads.front()) : std::nullopt;
        if (!outcome)
        {
            UpdateWatch();
            return Platform::ErrorCode::IoPending;
        }
        block->Finish(*outcome, m_reads.front().done);
        m_reads.pop_front();
    }
    if (*outcome == NtStatus::PipeBroken)
    {
        return Platform::ErrorCode::BrokenPipe;
    }
    block->Signal();
    return *outcome == NtStatus::Success ? Platform::ErrorCode::Success : Platform::ErrorCode::MoreData;
}

std::uint32_t PipeConnection::StartWrite(const BlockPointer& block)
{
    Outcome outcome;
    {
        const std::scoped_lock hold(m_lock);
        const std::span<const std::uint8_t> bytes = block->GetBuffer();
        if (!m_socket.IsValid())
        {
            return Platform::ErrorCode::PipeNotConnected;
        }
        if (bytes.size() > Frames::LongestMessage)
        {
            return EMSGSIZE;
        }
        if (!HasRoomFor(bytes.size()))
        {
            return Platform::ErrorCode::NoSystemResources;
        }
        m_writes.push_back({block, bytes, {}});
        block->Begin();
        outcome = m_writes.size() == 1 ? GoOn(m_writes.front()) : std::nullopt;
        if (!outcome)
        {
            UpdateWatch();
            return Platform::ErrorCode::IoPending;
        }
        FinishWrite(m_writes.front(), *outcome);
        m_writes.pop_front();
    }
    switch (*outcome)
    {
    case NtStatus::Success:
        block->Signal();
        return Platform::ErrorCode::Success;
    case NtStatus::InsufficientResources:
        return Platform::ErrorCode::NoSystemResources;
    default:
        return Platform::ErrorCode::NoData;
    }
}

std::uint32_t PipeConnection::CountUnread(std::uint32_t& unread)
{
    const std::scoped_lock hold(m_lock);
    if (!m_socket.IsValid())
    {
        return Platform::ErrorCode::PipeNotConnected;
    }
    LookAhead();
    if (IsOver())
    {
        return Platform::ErrorCode::BrokenPipe;
    }
    unread = m_incoming.GetUnread();
    return Platform::ErrorCode::Success;
}

void PipeConnection::BringUpToDate() noexcept
{
    BringUpToDate(nullptr);
}

void PipeConnection::BringUpToDate(const OverlappedBlock* own) noexcept
{
    while (true)
    {
        BlockPointer ended;
        {
            const std::scoped_lock hold(m_lock);
            ended = EndFirstRead();
            if (ended == nullptr)
            {
                ended = EndFirstWrite();
            }
            UpdateWatch();
        }
        if (ended == nullptr)
        {
            return;
        }
        if (ended.get() == own)
        {
            ended->SignalOthers();
        }
        else
        {
            ended->Signal();
        }
    }
}

void PipeConnection::OnEventGiven() noexcept
{
    const std::scoped_lock hold(m_lock);
    UpdateWatch();
}

bool PipeConnection::AwaitEnd(OverlappedBlock& block, std::uint32_t timeoutMs)
{
    const Awaiting awaiting(*this, block);
    if (awaiting.GetDirection() == Readiness::Nothing)
    {
        return block.Wait(timeoutMs);
    }
    RealDeadline deadline(timeoutMs);
    const bool isRead = awaiting.GetDirection() == Readiness::Readable;
    std::array<pollfd, 2> entries = {
        pollfd{Raii::Native::DescriptorOf(block.GetOwnEvent().GetHandle()), POLLIN, 0},
        pollfd{m_descriptor, static_cast<short>(isRead ? POLLIN | POLLRDHUP : POLLOUT), 0}};
    while (true)
    {
        const int ready = ::ppoll(entries.data(), entries.size(), deadline.GetLeft(), nullptr);
        if (ready > 0 && entries[0].revents != 0)
        {
            Concurrency::Native::ObserveSignal();
            return true;
        }
        if (ready == 0)
        {
            return false;
        }
        BringUpToDate(&block);
        if (block.IsSignalled())
        {
            return true;
        }
    }
}

bool PipeConnection::Cancel(const OverlappedBlock& block) noexcept
{
    BlockPointer taken;
    {
        const std::scoped_lock hold(m_lock);
        taken = TakeOut(&block, NtStatus::Cancelled);
        UpdateWatch();
    }
    if (taken != nullptr)
    {
        taken->Signal();
    }
    return taken != nullptr;
}

void PipeConnection::CancelAll() noexcept
{
    TakeOutAll(NtStatus::Cancelled);
}

void PipeConnection::End(std::uint32_t status) noexcept
{
    Raii::Win32Handle closing;
    {
        const std::scoped_lock hold(m_lock);
        closing = std::move(m_socket);
    }
    if (closing.IsValid())
    {
        if (e_thread != nullptr)
        {
            e_thread->Detach(m_descriptor);
        }
        // Not by closing alone: the kernel holds the socket too while it waits for us until it can be read.
        (void)::shutdown(m_descriptor, SHUT_RDWR);
    }
    TakeOutAll(status);
}

bool PipeConnection::HasPeerLeft()
{
    const std::scoped_lock hold(m_lock);
    LookAhead();
    return !m_socket.IsValid() || IsOver();
}

void PipeConnection::OnReady() noexcept
{
    BringUpToDate();
}

PipeConnection::Receipt PipeConnection::Receive(std::span<std::uint8_t> direct, std::size_t& received) noexcept
{
    if (m_hasEnded)
    {
        return Receipt::End;
    }
    const Frames::MessageReader::Places places = m_incoming.Prepare(direct);
    ssize_t size = ReceivePacket(m_descriptor, places);
    if (size < 0 && errno == ECONNRESET)
    {
        // Said once, when the other side went without having read everything. What it wrote before can still be read.
        size = ReceivePacket(m_descriptor, places);
    }
    if (size < 0 && errno == EAGAIN)
    {
        return Receipt::Nothing;
    }
    const std::optional<std::size_t> accepted =
        size > 0 ? m_incoming.Accept(static_cast<std::size_t>(size)) : std::nullopt;
    if (!accepted)
    {
        Break();
        return Receipt::End;
    }
    received = *accepted;
    return Receipt::Packet;
}

void PipeConnection::LookAhead() noexcept
{
    std::size_t received = 0;
    if (m_socket.IsValid() && !m_incoming.IsInMessage() && m_reads.empty())
    {
        (void)Receive({}, received);
    }
}

bool PipeConnection::IsOver() const noexcept
{
    return m_hasEnded && !m_incoming.HasBytes() && !m_incoming.IsAtEnd();
}

PipeConnection::Outcome PipeConnection::GoOn(Read& read) noexcept
{
    const std::span<std::uint8_t> buffer = read.block->GetTarget();
    while (true)
    {
        if (m_incoming.IsInMessage())
        {
            read.done += m_incoming.Take(buffer.subspan(read.done));
            if (m_incoming.IsAtEnd())
            {
                m_incoming.FinishMessage();
                return NtStatus::Success;
            }
            if (read.done == buffer.size())
            {
                // A read of nothing takes nothing from a message whose rest will not come.
                return buffer.empty() && IsOver() ? NtStatus::PipeBroken : NtStatus::BufferOverflow;
            }
        }
        std::size_t received = 0;
        switch (Receive(buffer.subspan(read.done), received))
        {
        case Receipt::Nothing:
            return std::nullopt;
        case Receipt::End:
            return NtStatus::PipeBroken;
        case Receipt::Packet:
            read.done += received;
            break;
        }
    }
}

PipeConnection::Outcome PipeConnection::GoOn(Write& write) noexcept
{
    while (!write.hasBegun || write.done < write.bytes.size())
    {
        const std::ptrdiff_t sent = SendPart(write);
        if (sent >= 0)
        {
            write.hasBegun = true;
            write.done += static_cast<std::size_t>(sent);
            continue;
        }
        if (errno == EAGAIN)
        {
            return std::nullopt;
        }
        return errno == ENOBUFS || errno == ENOMEM ? NtStatus::InsufficientResources : NtStatus::PipeBroken;
    }
    return NtStatus::Success;
}

std::ptrdiff_t PipeConnection::SendPart(const Write& write) noexcept
{
    const std::span<const std::uint8_t> left = write.bytes.subspan(write.done);
    // A long message begins with a small part: the reader does not know yet how much room it needs, and has to move what it
    // had none for.
    const bool isFirstOfMany = !write.hasBegun && left.size() > m_largestPart;
    const Frames::Header header = Frames::EncodeHeader(static_cast<std::uint32_t>(left.size()));
    while (true)
    {
        const std::span<const std::uint8_t> part =
            left.first(std::min(left.size(), isFirstOfMany ? Frames::SmallestPart : m_largestPart));
        std::array<iovec, 2> vectors = {ToVector(header), ToVector(part)};
        msghdr message = {};
        message.msg_iov = vectors.data();
        message.msg_iovlen = vectors.size();
        if (::sendmsg(m_descriptor, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
        {
            return static_cast<std::ptrdiff_t>(part.size());
        }
        if (errno == EMSGSIZE && m_largestPart / 2 >= Frames::SmallestPart)
        {
            m_largestPart /= 2;
        }
        else if (errno != EINTR)
        {
            return -1;
        }
    }
}

BlockPointer PipeConnection::EndFirstRead() noexcept
{
    if (!m_socket.IsValid() || m_reads.empty())
    {
        return nullptr;
    }
    Read& read = m_reads.front();
    const Outcome outcome = GoOn(read);
    if (!outcome)
    {
        return nullptr;
    }
    read.block->Finish(*outcome, read.done);
    BlockPointer block = std::move(read.block);
    m_reads.pop_front();
    return block;
}

BlockPointer PipeConnection::EndFirstWrite() noexcept
{
    BlockPointer block;
    while (m_socket.IsValid() && !m_writes.empty() && block == nullptr)
    {
        Write& write = m_writes.front();
        const Outcome outcome = GoOn(write);
        if (!outcome)
        {
            return nullptr;
        }
        FinishWrite(write, *outcome);
        block = std::move(write.block);
        m_writes.pop_front();
    }
    return block;
}

void PipeConnection::FinishWrite(Write& write, std::uint32_t status) noexcept
{
    if (status != NtStatus::Success && write.hasBegun)
    {
        // The other side waits for the rest of a message that will not come.
        Break();
    }
    if (write.block != nullptr)
    {
        write.block->Finish(status, write.done);
    }
}

BlockPointer PipeConnection::TakeOut(const OverlappedBlock* block, std::uint32_t status) noexcept
{
    const auto isWanted = [block](const auto& operation)
    {
        return operation.block != nullptr && (block == nullptr || operation.block.get() == block);
    };
    if (const auto read = std::ranges::find_if(m_reads, isWanted); read != m_reads.end())
    {
        return TakeOutRead(read, status);
    }
    if (const auto write = std::ranges::find_if(m_writes, isWanted); write != m_writes.end())
    {
        return TakeOutWrite(write, status);
    }
    return nullptr;
}

BlockPointer PipeConnection::TakeOutRead(const std::deque<Read>::iterator& read, std::uint32_t status) noexcept
{
    BlockPointer block = std::move(read->block);
    if (read->done > 0)
    {
        try
        {
            m_incoming.PutBack(block->GetTarget().first(read->done));
        }
        catch (const std::exception&)
        {
            Break();
        }
    }
    m_reads.erase(read);
    block->Finish(status, 0);
    return block;
}

BlockPointer PipeConnection::TakeOutWrite(const std::deque<Write>::iterator& write, std::uint32_t status) noexcept
{
    BlockPointer block = std::move(write->block);
    if (write->hasBegun && m_socket.IsValid())
    {
        write->own = std::move(block->GetBuffer());
    }
    else
    {
        m_writes.erase(write);
    }
    block->Finish(status, 0);
    return block;
}

void PipeConnection::TakeOutAll(std::uint32_t status) noexcept
{
    while (true)
    {
        BlockPointer taken;
        {
            const std::scoped_lock hold(m_lock);
            taken = TakeOut(nullptr, status);
            UpdateWatch();
        }
        if (taken == nullptr)
        {
            return;
        }
        taken->Signal();
    }
}

bool PipeConnection::HasRoomFor(std::size_t size) const noexcept
{
    const auto add = [](std::size_t sum, const Write& write)
    {
        return sum + write.bytes.size();
    };
    return m_writes.empty() ||
        (m_writes.size() < MostWaitingWrites &&
         std::accumulate(m_writes.begin(), m_writes.end(), size, add) <= MostWaitingBytes);
}

Readiness PipeConnection::DirectionOf(const OverlappedBlock& block) const noexcept
{
    const auto isIt = [&block](const auto& operation)
    {
        return operation.block.get() == &block;
    };
    if (std::ranges::any_of(m_reads, isIt))
    {
        return Readiness::Readable;
    }
    return std::ranges::any_of(m_writes, isIt) ? Readiness::Writable : Readiness::Nothing;
}

void PipeConnection::UpdateWatch() noexcept
{
    if (e_thread == nullptr || !m_socket.IsValid())
    {
        return;
    }
    Readiness wanted = Readiness::Nothing;
    if (std::ranges::any_of(m_reads, [](const Read& read) { return read.block->IsEventGiven(); }))
    {
        wanted = With(wanted, Readiness::Readable);
    }
    if (!m_writes.empty())
    {
        wanted = With(wanted, Readiness::Writable);
    }
    wanted = Without(wanted, m_awaited);
    if (wanted != m_watched)
    {
        m_watched = wanted;
        e_thread->Watch(m_descriptor, wanted);
    }
}

void PipeConnection::Break() noexcept
{
    m_hasEnded = true;
    if (m_socket.IsValid())
    {
        (void)::shutdown(m_descriptor, SHUT_RDWR);
    }
}

} // namespace Shared::Ipc::Native
