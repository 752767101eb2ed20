#include "lab.net-framing.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#include <fmt/format.h>

namespace Lab::Net
{

namespace
{

constexpr std::size_t PrefixSize = 4;
constexpr unsigned BitsPerByte = 8;

[[noreturn]] void ThrowTooLarge(std::uint64_t length, std::size_t largest)
{
    throw FrameTooLarge(fmt::format("a frame of {} bytes is larger than {}", length, largest));
}

std::uint32_t ReadLength(std::string_view prefix) noexcept
{
    std::uint32_t length = 0;
    for (const char byte : prefix)
    {
        length = (length << BitsPerByte) | static_cast<std::uint8_t>(byte);
    }
    return length;
}

} // namespace

std::string LengthPrefix(std::size_t length)
{
    if (length > LargestFrame)
    {
        ThrowTooLarge(length, LargestFrame);
    }
    std::string prefix(PrefixSize, '\0');
    for (std::size_t i = 0; i < PrefixSize; ++i)
    {
        prefix[PrefixSize - 1 - i] = static_cast<char>((length >> (BitsPerByte * i)) & 0xFFU);
    }
    return prefix;
}

FrameDecoder::FrameDecoder(std::size_t largest) noexcept : m_largest(largest)
{
}

void FrameDecoder::Feed(std::string_view piece)
{
    DropTaken();
    m_bytes += piece;
}

std::optional<std::string> FrameDecoder::Next()
{
    const std::string_view rest = std::string_view(m_bytes).substr(m_taken);
    if (rest.size() < PrefixSize)
    {
        return std::nullopt;
    }
    const std::uint32_t length = ReadLength(rest.substr(0, PrefixSize));
    if (length > m_largest)
    {
        ThrowTooLarge(length, m_largest);
    }
    if (rest.size() - PrefixSize < length)
    {
        return std::nullopt;
    }
    m_taken += PrefixSize + length;
    return std::string(rest.substr(PrefixSize, length));
}

bool FrameDecoder::IsBetweenFrames() const noexcept
{
    return m_taken == m_bytes.size();
}

void FrameDecoder::DropTaken()
{
    // Once for each piece that arrives, not for each frame that is taken.
    m_bytes.erase(0, m_taken);
    m_taken = 0;
}

FrameStream::FrameStream(std::shared_ptr<Socket> socket) noexcept : m_socket(std::move(socket))
{
}

std::optional<std::string> FrameStream::Receive(std::chrono::milliseconds timeout)
{
    constexpr std::size_t PieceSize = 64U << 10U;
    while (true)
    {
        if (std::optional<std::string> frame = m_decoder.Next())
        {
            return frame;
        }
        const std::string piece = m_socket->Receive(PieceSize, timeout);
        if (piece.empty())
        {
            if (!m_decoder.IsBetweenFrames())
            {
                throw std::runtime_error("the stream ended in the middle of a frame");
            }
            return std::nullopt;
        }
        m_decoder.Feed(piece);
    }
}

void FrameStream::Send(std::string_view frame, std::chrono::milliseconds timeout, const Fragments& fragments)
{
    std::string bytes = LengthPrefix(frame.size());
    bytes += frame;
    std::string_view rest = bytes;
    const std::size_t bite = fragments.bytes == 0 ? rest.size() : fragments.bytes;
    while (!rest.empty())
    {
        m_socket->Send(rest.substr(0, bite), timeout);
        rest.remove_prefix(std::min(bite, rest.size()));
        if (fragments.bytes != 0)
        {
            m_socket->Pause(fragments.pause);
        }
    }
}

void FrameStream::Shutdown() noexcept
{
    m_socket->Shutdown();
}

} // namespace Lab::Net
