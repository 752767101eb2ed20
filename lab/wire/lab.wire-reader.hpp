#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Lab::Wire
{

/// How a field's value is laid out. What else the three bits could say is no message.
enum class WireType : std::uint32_t
{
    Varint = 0,
    Fixed64 = 1,
    Block = 2,
    GroupStart = 3,
    GroupEnd = 4,
    Fixed32 = 5
};

struct FieldTag
{
    std::uint32_t field = 0;
    WireType type = WireType::Varint;

    bool operator==(const FieldTag&) const = default;
};

/// Reads a message in the protobuf encoding field by field. Every failure is an EnvelopeError that names the byte.
class Reader
{
public:
    /// `bytes` must outlive the reader and all that it gives.
    explicit Reader(std::string_view bytes) noexcept;

    /// Nothing at the end of the message. The end of a group that never began is a failure.
    std::optional<FieldTag> ReadTag();
    /// Up to ten bytes; what is above 64 bits is lost.
    std::uint64_t ReadVarint();
    std::string_view ReadBlock();
    /// A reader of the next block alone, which counts its bytes from the same beginning.
    Reader ReadNested();
    /// Goes past the value of a field; past a whole group with all that is in it.
    void Skip(const FieldTag& tag);
    std::size_t Position() const noexcept;

private:
    FieldTag ReadAnyTag();
    std::uint64_t ReadVarint(std::size_t longest);
    std::string_view Take(std::size_t length);
    void SkipGroup(std::uint32_t field);
    [[noreturn]] void Fail(const char* what) const;

    std::string_view m_bytes;
    std::size_t m_position = 0;
    /// Groups and messages may lie inside of each other this deep.
    std::size_t m_deepestGroups = 100;
};

} // namespace Lab::Wire
