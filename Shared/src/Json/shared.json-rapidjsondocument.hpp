#pragma once

#include "shared.util-nullable.hpp"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

namespace Shared::Json
{

class RapidJsonDocument;
class RapidJsonValue;
struct RapidJsonMember;

/// The members of an object or the elements of an array, in the order of the text. Valid as long as a look at their owner;
/// cheap to copy. Items are made as they are asked for.
template <typename Item>
class RapidJsonRange
{
public:
    /// Walks through the items. Comparable within one range.
    class Iterator
    {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Item;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Item;

        Item operator*() const
        {
            return At(e_items, m_index);
        }

        Iterator& operator++()
        {
            ++m_index;
            return *this;
        }

        Iterator operator++(int)
        {
            const Iterator before = *this;
            ++m_index;
            return before;
        }

        bool operator==(const Iterator& other) const = default;

    private:
        friend class RapidJsonRange;

        Iterator(const void* items, std::size_t index) : e_items(items), m_index(index)
        {
        }

        const void* e_items;
        std::size_t m_index;
    };

    /// Of no items.
    RapidJsonRange() = default;

    bool empty() const
    {
        return m_size == 0;
    }

    std::size_t size() const
    {
        return m_size;
    }

    /// @param index below size()
    Item operator[](std::size_t index) const
    {
        return At(e_items, index);
    }

    Iterator begin() const
    {
        return {e_items, 0};
    }

    Iterator end() const
    {
        return {e_items, m_size};
    }

private:
    friend class RapidJsonValue;

    RapidJsonRange(const void* items, std::size_t size) : e_items(items), m_size(size)
    {
    }

    static Item At(const void* items, std::size_t index);

    const void* e_items = nullptr;
    std::size_t m_size = 0;
};

using RapidJsonMembers = RapidJsonRange<RapidJsonMember>;
using RapidJsonElements = RapidJsonRange<RapidJsonValue>;

/// A look at one value of a document, or at nothing. Valid while the document lives and nothing is added to it; moving
/// the document keeps it valid. Cheap to copy.
///
/// The getters give an empty result where the value is of another type, null, or nothing at all, so that what comes from
/// outside is asked for its type and its presence in one go.
class RapidJsonValue
{
public:
    /// Nothing.
    RapidJsonValue() = default;

    /// Whether there is a value; null is one.
    bool HasValue() const noexcept;
    bool IsNull() const noexcept;
    bool IsObject() const noexcept;
    bool IsArray() const noexcept;

    Util::Nullable<bool> GetBool() const;
    /// Integers are numbers that are written without fraction and exponent and fit.
    Util::Nullable<std::int32_t> GetInt32() const;
    Util::Nullable<std::uint32_t> GetUint32() const;
    Util::Nullable<std::int64_t> GetInt64() const;
    Util::Nullable<std::uint64_t> GetUint64() const;
    /// Any number, rounded to the nearest double.
    Util::Nullable<double> GetDouble() const;
    /// Valid UTF-8, null characters included.
    Util::Nullable<std::string> GetString() const;
    /// The same without a copy: valid as long as this look.
    Util::Nullable<std::string_view> GetStringView() const;

    /// The members, also those whose name comes twice; none unless this is an object.
    RapidJsonMembers GetMembers() const;
    /// The elements; none unless this is an array.
    RapidJsonElements GetElements() const;
    /// The first member of that name, or nothing. `name` is taken as it stands, and not as a path.
    RapidJsonValue GetMember(std::string_view name) const noexcept;

    /// What the JSON pointer `path` (RFC 6901) leads to from here, or nothing. A path without "/" at its front is taken as
    /// if it had one. Of members with the same name the first counts; a null character ends the name it stands in.
    /// Throws the runtime exception "GetOptionalValueByPath() requires a non-empty path", or "RapidJSON pointer is not
    /// valid for path {}" for a "~" that is followed by neither "0" nor "1".
    RapidJsonValue GetOptionalValueByPath(std::string_view path) const;

    /// The value as compact JSON text, or an empty text for nothing.
    std::string GetJsonText() const;
    /// The same of what GetOptionalValueByPath() finds.
    std::string GetJsonTextByPath(std::string_view path) const;

private:
    friend class RapidJsonDocument;
    friend class RapidJsonRange<RapidJsonMember>;
    friend class RapidJsonRange<RapidJsonValue>;

    explicit RapidJsonValue(const void* value) noexcept;

    const void* e_value = nullptr;
};

/// A member of an object. The name lives as long as the value.
struct RapidJsonMember
{
    std::string_view name;
    RapidJsonValue value;
};

template <>
RapidJsonMember RapidJsonMembers::At(const void* items, std::size_t index);
template <>
RapidJsonValue RapidJsonElements::At(const void* items, std::size_t index);

/// Owns a parsed JSON text. For one thread at a time.
///
/// Nesting of any depth costs memory only, never stack, in every operation.
class RapidJsonDocument
{
public:
    /// An empty object, to add to.
    RapidJsonDocument();
    /// Parses `text`: one value of any type, in UTF-8, a byte order mark before it or not. Throws the runtime exception
    /// "rapidJSON encountered a parse error on string ==> " followed by the whole text. So end text that is not JSON to
    /// its last byte, bytes that are not UTF-8, a surrogate escaped without its partner, and numbers out of a double's range.
    explicit RapidJsonDocument(std::string_view text);
    /// The same up to the first null character; a null pointer is an empty text.
    explicit RapidJsonDocument(const char* text);

    RapidJsonDocument(const RapidJsonDocument&) = delete;
    RapidJsonDocument& operator=(const RapidJsonDocument&) = delete;
    /// What was moved from may only be assigned to or destroyed.
    RapidJsonDocument(RapidJsonDocument&& other) noexcept;
    RapidJsonDocument& operator=(RapidJsonDocument&& other) noexcept;
    ~RapidJsonDocument();

    /// Adds a string to the root, or a copy of a whole document (so also a number: RapidJsonDocument("7")), as its last
    /// member and in place of members that have that name. Throws the runtime exception "rapidJSON encountered a parse
    /// error adding member: " followed by the name when the root is no object, or name or string are not UTF-8; the
    /// document is then as it was.
    void Add(std::string_view name, std::string_view value);
    void Add(std::string_view name, const RapidJsonDocument& value);

    RapidJsonValue GetRoot() const noexcept;

    /// As RapidJsonValue::GetOptionalValueByPath(), from the root.
    RapidJsonValue GetOptionalValueByPath(std::string_view path) const;
    /// As RapidJsonValue::GetJsonTextByPath(), from the root.
    std::string GetJsonTextByPath(std::string_view path) const;
    /// The whole document as compact JSON text.
    std::string GetJsonText() const;

private:
    struct Tree;

    std::unique_ptr<Tree> m_tree;
};

} // namespace Shared::Json
