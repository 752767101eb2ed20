// Any text as the JSON of a message, and any bytes as a message that becomes JSON. What was made has to be text that the
// other JSON reader takes too, and to come back as the same message; what the message holds has to stand in the text.
//   First byte: which message. Second byte: even for a text, odd for bytes. The rest is the text or the bytes.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>

#include "config.pb.h"
#include "fuzz.require.hpp"
#include "poll.pb.h"
#include "register.pb.h"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"
#include "startup.pb.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using Shared::Json::RapidJsonDocument;
using Shared::Protobuf::GenerateJSONFrom;
using Shared::Protobuf::ParseJSON;
using Shared::Protobuf::UnknownFields;

std::unique_ptr<Message> MakeMessage(std::uint8_t which)
{
    static const std::array<const Message*, 8> Kinds{
        &Poll::default_instance(),
        &RegisterResponse::default_instance(),
        &MtrTestResult::default_instance(),
        &SelfServiceConfiguration::default_instance(),
        &Config::Account::Agent::default_instance(),
        &Config::Test::default_instance(),
        &Startup::default_instance(),
        &UserGroups::default_instance()};
    return std::unique_ptr<Message>(Kinds.at(which % Kinds.size())->New());
}

bool Parse(std::string_view text, Message& message, UnknownFields unknownFields)
{
    try
    {
        ParseJSON(text, message, unknownFields);
        return true;
    }
    catch (const std::runtime_error& exception)
    {
        const std::string_view what = exception.what();
        Require(what.find("Failed parsing JSON string. Error ") != std::string_view::npos);
        return false;
    }
}

/// The keys of the text are the set fields of the message, one for one.
void CheckKeys(const Message& message, const RapidJsonDocument& document)
{
    std::vector<const FieldDescriptor*> fields;
    message.GetReflection()->ListFields(message, &fields);
    Require(fields.size() == document.GetRoot().GetMembers().size());
    for (const auto* field : fields)
    {
        const auto value = document.GetOptionalValueByPath(field->json_name());
        Require(value.HasValue());
        Require(value.IsArray() == field->is_repeated());
        if (field->is_repeated())
        {
            Require(
                value.GetElements().size() ==
                static_cast<std::size_t>(message.GetReflection()->FieldSize(message, field)));
        }
        else if (field->type() == FieldDescriptor::TYPE_ENUM)
        {
            Require(value.GetInt32().GetValue() == message.GetReflection()->GetEnumValue(message, field));
        }
        else if (field->type() == FieldDescriptor::TYPE_STRING)
        {
            Require(value.GetString().GetValue() == message.GetReflection()->GetString(message, field));
        }
    }
}

void CheckMessage(Message& message)
{
    message.DiscardUnknownFields();
    const auto json = GenerateJSONFrom(message);
    CheckKeys(message, RapidJsonDocument(json));

    const std::unique_ptr<Message> again(message.New());
    ParseJSON(json, *again);
    Require(GenerateJSONFrom(*again) == json);
}

void CheckText(std::uint8_t which, std::string_view text)
{
    const auto strict = MakeMessage(which);
    const auto lenient = MakeMessage(which);
    const bool isStrict = Parse(text, *strict, UnknownFields::Refuse);
    const bool isLenient = Parse(text, *lenient, UnknownFields::Ignore);
    Require(isLenient || !isStrict);
    if (isStrict)
    {
        Require(strict->SerializeAsString() == lenient->SerializeAsString());
    }
    CheckMessage(*lenient);
}

void CheckBytes(std::uint8_t which, std::string_view bytes)
{
    const auto message = MakeMessage(which);
    if (message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
    {
        CheckMessage(*message);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Texts that are not UTF-8 are told on the standard error stream.
    static const google::protobuf::LogSilencer Silence;
    if (size < 2)
    {
        return 0;
    }
    const std::string rest(reinterpret_cast<const char*>(data) + 2, size - 2);
    if (data[1] % 2 == 0)
    {
        CheckText(data[0], rest);
    }
    else
    {
        CheckBytes(data[0], rest);
    }
    return 0;
}
