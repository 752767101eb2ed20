#pragma once

#include "shared.util-nullable.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Shared::Json
{

class RapidJsonDocument;
struct RapidJsonMember;

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

    /// The members in the order of the text, also those whose name comes twice; empty unless this is an object.
    std::vector<RapidJsonMember> GetMembers() const;
    /// The elements in order; empty unless this is an array.
    std::vector<RapidJsonValue> GetElements() const;

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

    explicit RapidJsonValue(const void* value) noexcept;

    const void* e_value = nullptr;
};

/// A member of an object. The name lives as long as the value.
struct RapidJsonMember
{
    std::string_view name;
    RapidJsonValue value;
};

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
