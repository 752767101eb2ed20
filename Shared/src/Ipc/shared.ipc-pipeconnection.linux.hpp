#pragma once

#include "shared.concurrency-overlappedthread.linux.hpp"
#include "shared.ipc-nativepipe.hpp"
#include "shared.ipc-pipeframes.hpp"
#include "shared.raii-win32handle.hpp"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace Shared::Ipc::Native
{

/// One end of two connected sockets, and the reads and writes on it. Whoever starts an operation, waits for it or looks at
/// it does what can be done then, so that most need no other thread. The completion thread does the rest: writes that have
/// to wait, and reads on whose events somebody may wait.
///
/// Any thread may call anything.
class PipeConnection final : public Concurrency::ReadyHandler
{
public:
    /// Most writes that wait for the other side to read, and most bytes of them together unless there is only one: what
    /// exceeds it is refused, so that a peer that never reads costs no more.
    static constexpr std::size_t MostWaitingWrites = 64;
    static constexpr std::size_t MostWaitingBytes = Frames::LongestMessage;

    /// @param socket connected, AF_UNIX, SOCK_SEQPACKET.
    /// @param thread watches the socket; outlives this object or is detached from it. Null in tests, which then call
    /// OnReady() themselves.
    PipeConnection(Raii::Win32Handle socket, Concurrency::OverlappedThread* thread);
    ~PipeConnection() override = default;

    int GetDescriptor() const noexcept;

    /// These three as in PipeEnd.
    std::uint32_t StartRead(const BlockPointer& block);
    std::uint32_t StartWrite(const BlockPointer& block);
    std::uint32_t CountUnread(std::uint32_t& unread);
    /// These three as in OverlappedSource.
    void BringUpToDate() noexcept;
    void OnEventGiven() noexcept;
    bool AwaitEnd(Concurrency::OverlappedBlock& block, std::uint32_t timeoutMs);
    /// Ends one operation as cancelled. False when it is not pending here.
    bool Cancel(const Concurrency::OverlappedBlock& block) noexcept;
    void CancelAll() noexcept;
    /// Ends everything that is pending with `status` and closes the socket. Safe to repeat.
    void End(std::uint32_t status) noexcept;
    /// Whether the other side has closed its end and all that it wrote has been read.
    bool HasPeerLeft();

    void OnReady() noexcept override;

private:
    class Awaiting;

    struct Read
    {
        BlockPointer block;
        std::size_t done = 0;
    };

    struct Write
    {
        /// Null once cancelled: what has begun to be sent is sent to its end all the same.
        BlockPointer block;
        /// Not moved while the block is there; its own bytes afterwards.
        std::span<const std::uint8_t> bytes;
        std::vector<std::uint8_t> own;
        std::size_t done = 0;
        bool hasBegun = false;
    };

    enum class Receipt : std::uint8_t
    {
        Packet,
        Nothing,
        /// The other side has gone, or broke the rules.
        End
    };

    /// How an operation stands: nothing while it has to wait.
    using Outcome = std::optional<std::uint32_t>;

    /// @param own the operation that the calling thread waits for, or null
    void BringUpToDate(const Concurrency::OverlappedBlock* own) noexcept;
    /// Ends everything that is pending with `status`.
    void TakeOutAll(std::uint32_t status) noexcept;

    // The functions below are called under m_lock.

    Receipt Receive(std::span<std::uint8_t> direct, std::size_t& received) noexcept;
    /// Takes in the beginning of a message, unless one has begun or reads are waiting for it.
    void LookAhead() noexcept;
    /// Whether nothing is left to be read and nothing will come.
    bool IsOver() const noexcept;
    Outcome GoOn(Read& read) noexcept;
    Outcome GoOn(Write& write) noexcept;
    /// How many bytes went, or -1 with errno.
    std::ptrdiff_t SendPart(const Write& write) noexcept;
    /// Ends the first read, or the first write, if it need not wait; its block, or null.
    BlockPointer EndFirstRead() noexcept;
    BlockPointer EndFirstWrite() noexcept;
    /// Takes out, with that status, the operation of `block`, or any when null; its block, or null when there is none.
    BlockPointer TakeOut(const Concurrency::OverlappedBlock* block, std::uint32_t status) noexcept;
    BlockPointer TakeOutRead(const std::deque<Read>::iterator& read, std::uint32_t status) noexcept;
    BlockPointer TakeOutWrite(const std::deque<Write>::iterator& write, std::uint32_t status) noexcept;
    void FinishWrite(Write& write, std::uint32_t status) noexcept;
    bool HasRoomFor(std::size_t size) const noexcept;
    /// What a wait for this operation has to poll for; Nothing when it is not pending here.
    Concurrency::Readiness DirectionOf(const Concurrency::OverlappedBlock& block) const noexcept;
    /// Has the completion thread watch for what nobody else does.
    void UpdateWatch() noexcept;
    /// Nothing that goes over the socket from now on would mean anything.
    void Break() noexcept;

    Concurrency::OverlappedThread* e_thread;
    const int m_descriptor;
    std::mutex m_lock;
    // All below are under m_lock.
    Raii::Win32Handle m_socket;
    /// What the system takes in one packet.
    std::size_t m_largestPart = Frames::LargestPart;
    Frames::MessageReader m_incoming;
    /// Nothing comes any more.
    bool m_hasEnded = false;
    /// By the completion thread, and by a thread that waits for an operation.
    Concurrency::Readiness m_watched = Concurrency::Readiness::Nothing;
    Concurrency::Readiness m_awaited = Concurrency::Readiness::Nothing;
    std::deque<Read> m_reads;
    std::deque<Write> m_writes;
};

} // namespace Shared::Ipc::Native
