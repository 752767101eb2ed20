#include "shared.protobuf-functions.hpp"

#include <exception>

#include <fmt/format.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/util/json_util.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"

namespace Shared::Protobuf
{

namespace
{

std::string_view Text(const google::protobuf::util::Status& status)
{
    return {status.message().data(), status.message().size()};
}

void PassOn(google::protobuf::LogLevel /*level*/, const char* /*file*/, int /*line*/, const std::string& text)
{
    Log::Warn("protobuf: {}", text);
}

} // namespace

std::string GenerateJSONFrom(const google::protobuf::Message& message)
{
    google::protobuf::util::JsonPrintOptions options;
    options.add_whitespace = true;
    options.always_print_primitive_fields = false;
    options.always_print_enums_as_ints = true;
    options.preserve_proto_field_names = false;

    std::string json;
    const auto status = google::protobuf::util::MessageToJsonString(message, &json, options);
    if (!status.ok())
    {
        throw Exception::RuntimeException(
            fmt::format("MessageToJsonString() failed to serialise JSON: {}", Text(status)));
    }
    return json;
}

void ParseJSON(std::string_view text, google::protobuf::Message& message, UnknownFields unknownFields)
{
    google::protobuf::util::JsonParseOptions options;
    options.ignore_unknown_fields = unknownFields == UnknownFields::Ignore;

    const auto status = google::protobuf::util::JsonStringToMessage({text.data(), text.size()}, &message, options);
    if (!status.ok())
    {
        throw Exception::RuntimeException(
            fmt::format("Failed parsing JSON string. Error {}, string {}", Text(status), text));
    }
}

bool TryParseJSON(std::string_view text, google::protobuf::Message& message, UnknownFields unknownFields) noexcept
{
    try
    {
        ParseJSON(text, message, unknownFields);
        return true;
    }
    catch (const std::exception& exception)
    {
        Log::LogException("ParseJSON() failed", exception);
        return false;
    }
}

void LogLibraryMessages() noexcept
{
    (void)google::protobuf::SetLogHandler(&PassOn);
}

} // namespace Shared::Protobuf
