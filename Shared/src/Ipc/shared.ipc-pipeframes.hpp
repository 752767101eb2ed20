#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// How messages go over a socket that keeps packets apart. A message is one packet or more. Each packet begins with 4
/// bytes, low byte first: how many bytes of the message follow from here on, in this packet and in those behind it. A
/// message ends with the packet that brings all that its first bytes promise; one of no bytes is a packet of the 4 alone.
/// Every packet but a message's last brings SmallestPart bytes or more.
/// Pure: no system call.
namespace Shared::Ipc::Frames
{

inline constexpr std::size_t HeaderSize = 4;
/// Most bytes of a message in one packet. Larger packets are not faster, and this one fits a socket's default buffer.
inline constexpr std::size_t LargestPart = 128UL * 1024 - HeaderSize;
/// A read of no more than this ends with the first packet, if it begins with one.
inline constexpr std::size_t SmallestPart = 32UL * 1024 - HeaderSize;
/// Longest message. What the other side promises is made room for before it comes, so there must be an end.
inline constexpr std::uint32_t LongestMessage = 256U * 1024 * 1024;

using Header = std::array<std::uint8_t, HeaderSize>;

/// The first bytes of a packet with which `remaining` bytes of its message are still to be sent.
Header EncodeHeader(std::uint32_t remaining) noexcept;

/// Puts messages together from packets, for a reader that takes them in pieces of any size.
class MessageReader
{
public:
    /// Where the parts of a packet go, in this order.
    struct Places
    {
        std::span<std::uint8_t> header;
        /// The reader's own memory.
        std::span<std::uint8_t> direct;
        /// For what the reader has no room for; taken from here later.
        std::span<std::uint8_t> kept;
    };

    MessageReader();

    /// Whether a message has begun and was not finished.
    bool IsInMessage() const noexcept;
    /// Bytes of the current message that were not taken yet, whether they are here or still to come; 0 without one.
    std::uint32_t GetUnread() const noexcept;
    /// Whether bytes of the current message are here.
    bool HasBytes() const noexcept;
    /// Whether the current message has been taken to its end; without one, false.
    bool IsAtEnd() const noexcept;
    /// Moves bytes that are here to `destination`, as many as there are and fit; how many.
    std::size_t Take(std::span<std::uint8_t> destination) noexcept;

    /// Makes room for the next packet, whose message bytes go first to `direct`, which may be empty. Called when no bytes
    /// are here.
    Places Prepare(std::span<std::uint8_t> direct) noexcept;
    /// A packet of `size` bytes lies in the prepared places. How many went to `direct`, which counts as taken; nothing
    /// when the packet breaks the rules, and then nothing that follows means anything.
    std::optional<std::size_t> Accept(std::size_t size) noexcept;

    /// Leaves a message that is at its end: what is prepared next begins another one.
    void FinishMessage() noexcept;
    /// Gives back, to its beginning, what was taken from the current message. Throws for lack of memory alone.
    void PutBack(std::span<const std::uint8_t> bytes);

private:
    std::size_t GetKept() const noexcept;

    bool m_isInMessage = false;
    /// Bytes of the current message in packets that have not come yet.
    std::uint32_t m_toCome = 0;
    Header m_header{};
    std::size_t m_directSize = 0;
    /// At least as large as the largest part; bytes from m_keptBegin to m_keptEnd are here.
    std::vector<std::uint8_t> m_kept;
    std::size_t m_keptBegin = 0;
    std::size_t m_keptEnd = 0;
};

} // namespace Shared::Ipc::Frames
