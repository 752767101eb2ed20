#include "shared.ipc-pipeframes.hpp"

#include <algorithm>

namespace Shared::Ipc::Frames
{

namespace
{

std::uint32_t DecodeHeader(const Header& header) noexcept
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < HeaderSize; ++i)
    {
        value |= static_cast<std::uint32_t>(header[i]) << (8 * i);
    }
    return value;
}

} // namespace

Header EncodeHeader(std::uint32_t remaining) noexcept
{
    Header header{};
    for (std::size_t i = 0; i < HeaderSize; ++i)
    {
        header[i] = static_cast<std::uint8_t>((remaining >> (8 * i)) & 0xFF);
    }
    return header;
}

MessageReader::MessageReader() : m_kept(LargestPart)
{
}

bool MessageReader::IsInMessage() const noexcept
{
    return m_isInMessage;
}

std::uint32_t MessageReader::GetUnread() const noexcept
{
    return static_cast<std::uint32_t>(GetKept()) + m_toCome;
}

bool MessageReader::HasBytes() const noexcept
{
    return GetKept() > 0;
}

bool MessageReader::IsAtEnd() const noexcept
{
    return m_isInMessage && GetUnread() == 0;
}

std::size_t MessageReader::Take(std::span<std::uint8_t> destination) noexcept
{
    const std::size_t count = std::min(destination.size(), GetKept());
    const auto from = m_kept.begin() + static_cast<std::ptrdiff_t>(m_keptBegin);
    std::copy_n(from, count, destination.begin());
    m_keptBegin += count;
    return count;
}

MessageReader::Places MessageReader::Prepare(std::span<std::uint8_t> direct) noexcept
{
    m_keptBegin = 0;
    m_keptEnd = 0;
    m_directSize = std::min(direct.size(), LargestPart);
    return {m_header, direct.first(m_directSize), std::span(m_kept).first(LargestPart - m_directSize)};
}

std::optional<std::size_t> MessageReader::Accept(std::size_t size) noexcept
{
    if (size < HeaderSize || size > HeaderSize + LargestPart)
    {
        return std::nullopt;
    }
    const std::size_t part = size - HeaderSize;
    const std::uint32_t remaining = DecodeHeader(m_header);
    const bool isPromised = m_isInMessage ? remaining == m_toCome : remaining <= LongestMessage;
    const bool isLast = part == remaining;
    if (!isPromised || part > remaining || (!isLast && part < SmallestPart))
    {
        return std::nullopt;
    }
    const std::size_t direct = std::min(part, m_directSize);
    m_isInMessage = true;
    m_toCome = remaining - static_cast<std::uint32_t>(part);
    m_keptEnd = part - direct;
    return direct;
}

void MessageReader::FinishMessage() noexcept
{
    m_isInMessage = false;
}

void MessageReader::PutBack(std::span<const std::uint8_t> bytes)
{
    std::vector<std::uint8_t> kept;
    kept.reserve(std::max(bytes.size() + GetKept(), LargestPart));
    kept.assign(bytes.begin(), bytes.end());
    kept.insert(
        kept.end(), m_kept.begin() + static_cast<std::ptrdiff_t>(m_keptBegin),
        m_kept.begin() + static_cast<std::ptrdiff_t>(m_keptEnd));
    m_keptBegin = 0;
    m_keptEnd = kept.size();
    kept.resize(std::max(kept.size(), LargestPart));
    m_kept = std::move(kept);
}

std::size_t MessageReader::GetKept() const noexcept
{
    return m_keptEnd - m_keptBegin;
}

} // namespace Shared::Ipc::Frames
