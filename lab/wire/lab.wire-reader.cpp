#include "lab.wire-reader.hpp"

#include "lab.wire-envelope.hpp"

#include <limits>
#include <vector>

#include <fmt/format.h>

namespace Lab::Wire
{

namespace
{

constexpr std::size_t LongestVarint = 10;
/// Tags and lengths have 32 bits.
constexpr std::size_t LongestTag = 5;
constexpr unsigned WireTypeBits = 3;

} // namespace

Reader::Reader(std::string_view bytes) noexcept : m_bytes(bytes)
{
}

std::optional<FieldTag> Reader::ReadTag()
{
    if (m_position == m_bytes.size())
    {
        return std::nullopt;
    }
    const FieldTag tag = ReadAnyTag();
    if (tag.type == WireType::GroupEnd)
    {
        Fail("the end of a group that never began");
    }
    return tag;
}

std::uint64_t Reader::ReadVarint()
{
    return ReadVarint(LongestVarint);
}

std::string_view Reader::ReadBlock()
{
    const std::uint64_t length = ReadVarint(LongestTag);
    if (length > m_bytes.size() - m_position)
    {
        Fail("a block that is cut off");
    }
    return Take(static_cast<std::size_t>(length));
}

Reader Reader::ReadNested()
{
    const std::string_view block = ReadBlock();
    Reader nested(m_bytes.substr(0, m_position));
    nested.m_position = m_position - block.size();
    nested.m_deepestGroups = m_deepestGroups - 1;
    return nested;
}

void Reader::Skip(const FieldTag& tag)
{
    constexpr std::size_t Fixed64Size = 8;
    constexpr std::size_t Fixed32Size = 4;
    switch (tag.type)
    {
    case WireType::Varint:
        (void)ReadVarint();
        break;
    case WireType::Fixed64:
        (void)Take(Fixed64Size);
        break;
    case WireType::Block:
        (void)ReadBlock();
        break;
    case WireType::GroupStart:
        SkipGroup(tag.field);
        break;
    case WireType::Fixed32:
        (void)Take(Fixed32Size);
        break;
    case WireType::GroupEnd:
        Fail("the end of a group that never began");
    }
}

std::size_t Reader::Position() const noexcept
{
    return m_position;
}

FieldTag Reader::ReadAnyTag()
{
    constexpr std::uint32_t TypeMask = (1U << WireTypeBits) - 1;
    const auto raw = static_cast<std::uint32_t>(ReadVarint(LongestTag));
    const std::uint32_t type = raw & TypeMask;
    const std::uint32_t field = raw >> WireTypeBits;
    if (field == 0 || type > static_cast<std::uint32_t>(WireType::Fixed32))
    {
        Fail("no field");
    }
    return {field, static_cast<WireType>(type)};
}

std::uint64_t Reader::ReadVarint(std::size_t longest)
{
    constexpr std::uint8_t More = 0x80;
    constexpr unsigned Bits = 7;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < longest; ++i)
    {
        const auto byte = static_cast<std::uint8_t>(Take(1).front());
        value |= static_cast<std::uint64_t>(byte & (More - 1U)) << (Bits * i);
        if (byte < More)
        {
            return value;
        }
    }
    Fail("a number that does not end");
}

std::string_view Reader::Take(std::size_t length)
{
    if (length > m_bytes.size() - m_position)
    {
        Fail("cut off");
    }
    const std::string_view taken = m_bytes.substr(m_position, length);
    m_position += length;
    return taken;
}

void Reader::SkipGroup(std::uint32_t field)
{
    // By a list of what is open instead of by recursion: the depth is the sender's choice.
    std::vector<std::uint32_t> open = {field};
    while (!open.empty())
    {
        const FieldTag tag = ReadAnyTag();
        if (tag.type == WireType::GroupStart)
        {
            open.push_back(tag.field);
            if (open.size() > m_deepestGroups)
            {
                Fail("groups that lie too deep");
            }
        }
        else if (tag.type == WireType::GroupEnd)
        {
            if (tag.field != open.back())
            {
                Fail("the end of another group");
            }
            open.pop_back();
        }
        else
        {
            Skip(tag);
        }
    }
}

void Reader::Fail(const char* what) const
{
    throw EnvelopeError(fmt::format("{} at byte {} of {}", what, m_position, m_bytes.size()));
}

} // namespace Lab::Wire
