#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

namespace Lab::Json
{

/// How deep objects and lists may lie inside of each other. What is deeper is refused: others walk the tree by recursion.
inline constexpr std::size_t DeepestNesting = 100;

/// A text is no JSON. what() says where and why: "line 3, column 7: Missing a comma or } after an object member."
class JsonError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads a text of any content and length in constant stack. The text must be one value in well-formed UTF-8.
/// Throws JsonError.
rapidjson::Document Parse(std::string_view text);

/// Whether Parse() would read it.
bool IsJson(std::string_view text);

/// In one line.
std::string ToText(const rapidjson::Value& value);

/// In many lines, for people.
std::string ToPrettyText(const rapidjson::Value& value);

/// The text of a member; empty when `object` is no object, has no such member, or that is no text.
std::string TextMember(const rapidjson::Value& object, std::string_view name);

/// The whole number from 0 on of a member; `otherwise` when there is none that fits.
std::uint64_t CountMember(const rapidjson::Value& object, std::string_view name, std::uint64_t otherwise);

/// `target` patched as RFC 7396 tells: members of objects take the place of those that there are, null takes one away, and
/// objects are gone into. Both are nested no deeper than DeepestNesting.
rapidjson::Document Merge(const rapidjson::Value& target, const rapidjson::Value& patch);

/// The member, or null when `object` is no object or has no such member. Owned by `object`.
const rapidjson::Value* FindMember(const rapidjson::Value& object, std::string_view name);

} // namespace Lab::Json
