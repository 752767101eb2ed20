// One end of a pipe of ours over real sockets, against a peer that sends what it likes. As long as that keeps to the
// rules, every read must give what a list of the messages says; what we write must come out at the peer by the rules.
//   Each step begins with a byte. Its lowest three bits say what is done:
//     0  the peer sends the next n bytes (1 byte of n) as a packet, whatever they mean
//     1  the peer sends a message of 3 bytes of length (at most 300,000)
//     2  a read of 2 bytes of size (times 4)
//     3  a write of 2 bytes of size (times 4)
//     4  everything is cancelled
//     5  one read is cancelled
//     6  the unread bytes are counted
//     7  the peer reads all there is; with the highest bit set it closes its end instead

#include "shared.ipc-pipeconnection.linux.hpp"

#include "fuzz.require.hpp"
#include "shared.ipc-pipeframes.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::Ipc;
using Shared::Concurrency::OverlappedBlock;
using Shared::Raii::Win32Handle;
using Shared::Raii::Native::DescriptorOf;
using Shared::Raii::Native::FromDescriptor;
using Bytes = std::vector<std::uint8_t>;
namespace ErrorCode = Shared::Platform::ErrorCode;
namespace NtStatus = Shared::Concurrency::NtStatus;

class Script
{
public:
    explicit Script(std::span<const std::uint8_t> bytes) : m_bytes(bytes)
    {
    }

    bool IsAtEnd() const
    {
        return m_bytes.empty();
    }

    std::uint32_t Next(int count = 1)
    {
        std::uint32_t value = 0;
        for (int i = 0; i < count && !m_bytes.empty(); ++i, m_bytes = m_bytes.subspan(1))
        {
            value |= static_cast<std::uint32_t>(m_bytes.front()) << (8 * i);
        }
        return value;
    }

    Bytes NextBytes(std::size_t count)
    {
        const auto taken = m_bytes.first(std::min(count, m_bytes.size()));
        m_bytes = m_bytes.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }

private:
    std::span<const std::uint8_t> m_bytes;
};

Bytes MakeMessage(std::size_t size, std::uint8_t seed)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
    {
        bytes[i] = static_cast<std::uint8_t>(seed + i * 31);
    }
    return bytes;
}

Bytes Packet(std::uint32_t header, std::span<const std::uint8_t> part)
{
    const Frames::Header encoded = Frames::EncodeHeader(header);
    Bytes packet(encoded.begin(), encoded.end());
    packet.insert(packet.end(), part.begin(), part.end());
    return packet;
}

/// The other side: a bare socket.
class Peer
{
public:
    explicit Peer(int descriptor) : m_socket(FromDescriptor(descriptor))
    {
    }

    void Queue(Bytes packet)
    {
        m_queue.push_back(std::move(packet));
        Flush();
    }

    void QueueMessage(const Bytes& message)
    {
        std::span<const std::uint8_t> left = message;
        do
        {
            const auto part = left.first(std::min(left.size(), Frames::LargestPart));
            m_queue.push_back(Packet(static_cast<std::uint32_t>(left.size()), part));
            left = left.subspan(part.size());
        } while (!left.empty());
        Flush();
    }

    void Flush()
    {
        while (m_socket.IsValid() && !m_queue.empty())
        {
            const Bytes& packet = m_queue.front();
            const int descriptor = DescriptorOf(m_socket.GetRawHandle());
            if (::send(descriptor, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0 && errno == EAGAIN)
            {
                return;
            }
            m_queue.pop_front();
        }
    }

    /// Whether there was anything; it must keep to the rules.
    bool Read()
    {
        Bytes packet(Frames::HeaderSize + Frames::LargestPart + 1);
        const int descriptor = DescriptorOf(m_socket.GetRawHandle());
        const ssize_t size =
            m_socket.IsValid() ? ::recv(descriptor, packet.data(), packet.size(), MSG_DONTWAIT) : ssize_t{0};
        if (size <= 0)
        {
            return false;
        }
        Require(size >= static_cast<ssize_t>(Frames::HeaderSize));
        std::uint32_t remaining = 0;
        for (std::size_t i = 0; i < Frames::HeaderSize; ++i)
        {
            remaining |= static_cast<std::uint32_t>(packet[i]) << (8 * i);
        }
        const std::size_t part = static_cast<std::size_t>(size) - Frames::HeaderSize;
        Require(part <= remaining && (part == remaining || part >= Frames::SmallestPart));
        Require(m_toCome == 0 || remaining == m_toCome);
        m_toCome = remaining - static_cast<std::uint32_t>(part);
        m_message.insert(m_message.end(), packet.begin() + Frames::HeaderSize, packet.begin() + size);
        if (m_toCome == 0)
        {
            Require(m_message.empty() || m_message == MakeMessage(m_message.size(), m_message.front()));
            m_message.clear();
        }
        return true;
    }

    void Close()
    {
        m_socket.Close();
        m_queue.clear();
    }

private:
    Win32Handle m_socket;
    std::deque<Bytes> m_queue;
    std::uint32_t m_toCome = 0;
    Bytes m_message;
};

class Checker
{
public:
    Checker()
    {
        std::array<int, 2> ends{-1, -1};
        Require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) == 0);
        m_connection = std::make_shared<Native::PipeConnection>(Win32Handle(FromDescriptor(ends[0])), nullptr);
        m_peer.emplace(ends[1]);
    }

    void SendAnything(Bytes packet)
    {
        // What happens to keep to the rules is a message like others.
        const bool isMessage = packet.size() >= Frames::HeaderSize &&
            Packet(
                static_cast<std::uint32_t>(packet.size() - Frames::HeaderSize),
                std::span(packet).subspan(Frames::HeaderSize)) == packet;
        if (isMessage && !m_isBroken)
        {
            m_expected.emplace_back(packet.begin() + Frames::HeaderSize, packet.end());
        }
        m_isBroken = m_isBroken || !isMessage;
        m_peer->Queue(std::move(packet));
    }

    void SendMessage(std::size_t size)
    {
        const Bytes message = MakeMessage(size, m_seed++);
        if (!m_isBroken)
        {
            m_expected.push_back(message);
        }
        m_peer->QueueMessage(message);
    }

    void Read(std::size_t size)
    {
        auto block = std::make_shared<OverlappedBlock>();
        block->GetBuffer().resize(size);
        const std::uint32_t code = m_connection->StartRead(block);
        if (code == ErrorCode::BrokenPipe)
        {
            Require(m_isBroken);
            return;
        }
        m_reads.push_back(std::move(block));
        CheckReads();
    }

    void Write(std::size_t size)
    {
        auto block = std::make_shared<OverlappedBlock>();
        block->GetBuffer() = MakeMessage(size, m_seed++);
        const std::uint32_t code = m_connection->StartWrite(block);
        Require(
            code == ErrorCode::Success || code == ErrorCode::IoPending || code == ErrorCode::NoSystemResources ||
            (code == ErrorCode::NoData && m_isBroken));
    }

    void CancelAll()
    {
        GoOn();
        m_connection->CancelAll();
        for (const Native::BlockPointer& block : m_reads)
        {
            Require(block->GetStatus() == NtStatus::Cancelled);
        }
        m_reads.clear();
    }

    void CancelOne(std::size_t which)
    {
        GoOn();
        if (!m_reads.empty())
        {
            const auto chosen = m_reads.begin() + static_cast<std::ptrdiff_t>(which % m_reads.size());
            Require(m_connection->Cancel(**chosen));
            m_reads.erase(chosen);
        }
    }

    void Count()
    {
        std::uint32_t unread = 0;
        const std::uint32_t code = m_connection->CountUnread(unread);
        Require(code == ErrorCode::Success || (code == ErrorCode::BrokenPipe && m_isBroken));
        if (code == ErrorCode::Success && m_reads.empty() && unread > 0 && !m_isBroken)
        {
            Require(!m_expected.empty() && unread == m_expected.front().size() - m_taken);
        }
    }

    void Drain()
    {
        do
        {
            GoOn();
        } while (m_peer->Read());
    }

    void ClosePeer()
    {
        GoOn();
        m_isBroken = true;
        m_peer->Close();
    }

    void GoOn()
    {
        m_peer->Flush();
        m_connection->BringUpToDate();
        CheckReads();
    }

private:
    /// The reads that have ended, in their order.
    void CheckReads()
    {
        while (!m_reads.empty() && m_reads.front()->GetStatus() != NtStatus::Pending)
        {
            const Native::BlockPointer block = std::move(m_reads.front());
            m_reads.pop_front();
            if (block->GetStatus() == NtStatus::PipeBroken)
            {
                Require(m_isBroken);
                m_expected.clear();
                continue;
            }
            CheckRead(*block);
        }
    }

    void CheckRead(OverlappedBlock& block)
    {
        Require(!m_expected.empty());
        const Bytes& message = m_expected.front();
        const std::size_t left = message.size() - m_taken;
        const std::size_t count = std::min(left, block.GetBuffer().size());
        Require(block.GetBytesTransferred() == count);
        Require(std::equal(
            block.GetBuffer().begin(), block.GetBuffer().begin() + static_cast<std::ptrdiff_t>(count),
            message.begin() + static_cast<std::ptrdiff_t>(m_taken)));
        const bool isWhole = count == left;
        Require(block.GetStatus() == (isWhole ? NtStatus::Success : NtStatus::BufferOverflow));
        m_taken = isWhole ? 0 : m_taken + count;
        if (isWhole)
        {
            m_expected.pop_front();
        }
    }

    std::shared_ptr<Native::PipeConnection> m_connection;
    std::optional<Peer> m_peer;
    std::uint8_t m_seed = 0;
    /// What the peer sent by the rules and was not read, and how much of the first was.
    std::deque<Bytes> m_expected;
    std::size_t m_taken = 0;
    std::deque<Native::BlockPointer> m_reads;
    bool m_isBroken = false;
};

void DoStep(Script& script, Checker& checker)
{
    constexpr std::uint32_t LongestMessage = 300'000;
    const std::uint32_t step = script.Next();
    switch (step & 7U)
    {
    case 0:
    {
        const std::size_t size = script.Next();
        checker.SendAnything(script.NextBytes(size));
        break;
    }
    case 1:
        checker.SendMessage(std::min(script.Next(3), LongestMessage));
        break;
    case 2:
        checker.Read(script.Next(2) * 4UL);
        break;
    case 3:
        checker.Write(script.Next(2) * 4UL);
        break;
    case 4:
        checker.CancelAll();
        break;
    case 5:
        checker.CancelOne(step >> 3);
        break;
    case 6:
        checker.Count();
        break;
    default:
        if (step >= 0x80)
        {
            checker.ClosePeer();
        }
        else
        {
            checker.Drain();
        }
        break;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Script script({data, size});
    Checker checker;
    for (int step = 0; step < 60 && !script.IsAtEnd(); ++step)
    {
        DoStep(script, checker);
    }
    checker.Drain();
    return 0;
}
