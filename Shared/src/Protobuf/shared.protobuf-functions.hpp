#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace google::protobuf
{
class Message;
} // namespace google::protobuf

/// Protobuf messages as JSON text. Any thread; a message belongs to one thread at a time.
namespace Shared::Protobuf
{

/// What ParseJSON() does with a key that the message has no field for, and with the name of an enum value that the enum
/// does not have.
enum class UnknownFields : std::uint8_t
{
    Refuse,
    Ignore
};

/// The message as JSON text in UTF-8, with line breaks: keys in lowerCamelCase, enums as numbers, 64-bit integers as
/// strings, and no key for a field that has its default value. Of a string that is not UTF-8 only what stands before the
/// fault is sure to come out.
/// Throws the runtime exception "MessageToJsonString() failed to serialise JSON: {}" with the library's word for why.
std::string GenerateJSONFrom(const google::protobuf::Message& message);

/// Puts what `text` says in the place of everything that `message` held.
/// Throws the runtime exception "Failed parsing JSON string. Error {}, string {}" with the library's word for why and the
/// whole text; `message` is then as it was. So end text that is not JSON or not UTF-8, values of another type than their
/// field, numbers out of range, and nesting deeper than 100.
void ParseJSON(
    std::string_view text, google::protobuf::Message& message, UnknownFields unknownFields = UnknownFields::Refuse);

/// The same without exceptions: logs "ParseJSON() failed" with the reason at level error and returns false.
bool TryParseJSON(
    std::string_view text,
    google::protobuf::Message& message,
    UnknownFields unknownFields = UnknownFields::Refuse) noexcept;

/// What the library has to say of a message goes to the log from now on, at level warning, and not to the standard error.
/// Once, before other threads read messages.
void LogLibraryMessages() noexcept;

} // namespace Shared::Protobuf
