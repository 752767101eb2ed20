#include "agentcore.tests-plainjson.hpp"

#include <cstdint>
#include <map>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

namespace AgentCore::Tests
{

namespace
{

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using Shared::Json::RapidJsonMember;
using Shared::Json::RapidJsonValue;

using FieldsByName = std::unordered_map<std::string_view, const FieldDescriptor*>;

/// Under both names that JSON may have for them.
FieldsByName MakeFieldsByName(const Descriptor& descriptor)
{
    FieldsByName fields;
    for (int i = 0; i < descriptor.field_count(); ++i)
    {
        const FieldDescriptor* const field = descriptor.field(i);
        fields.emplace(field->name(), field);
        fields.emplace(field->json_name(), field);
    }
    return fields;
}

/// Made once for each kind of message, and kept.
const FieldsByName& GetFieldsByName(const Descriptor& descriptor)
{
    static std::mutex s_lock;
    static auto& s_fields = *new std::map<const Descriptor*, FieldsByName>();
    const std::lock_guard guard(s_lock);
    const auto found = s_fields.find(&descriptor);
    return found != s_fields.end() ? found->second
                                   : s_fields.emplace(&descriptor, MakeFieldsByName(descriptor)).first->second;
}

/// One message and its field.
struct Place
{
    Message& message;
    const Reflection& reflection;
    const FieldDescriptor& field;
};

bool ReadText(const Place& place, const RapidJsonValue& value)
{
    const auto text = value.GetString();
    if (!text.HasValue())
    {
        return false;
    }
    if (place.field.is_repeated())
    {
        place.reflection.AddString(&place.message, &place.field, text.GetValue());
    }
    else
    {
        place.reflection.SetString(&place.message, &place.field, text.GetValue());
    }
    return true;
}

bool ReadMessage(const Place& place, const RapidJsonValue& value)
{
    Message* const inner = place.field.is_repeated() ? place.reflection.AddMessage(&place.message, &place.field)
                                                     : place.reflection.MutableMessage(&place.message, &place.field);
    return ReadPlainJson(value, *inner);
}

/// A field that is no list.
bool ReadNumber(const Place& place, const RapidJsonValue& value)
{
    if (place.field.cpp_type() == FieldDescriptor::CPPTYPE_INT32)
    {
        const auto number = value.GetInt32();
        if (number.HasValue())
        {
            place.reflection.SetInt32(&place.message, &place.field, number.GetValue());
        }
        return number.HasValue();
    }
    const auto number = value.GetDouble();
    if (number.HasValue())
    {
        place.reflection.SetDouble(&place.message, &place.field, number.GetValue());
    }
    return number.HasValue();
}

/// One value of a field, or of its list.
bool ReadOne(const Place& place, const RapidJsonValue& value)
{
    switch (place.field.type())
    {
    case FieldDescriptor::TYPE_STRING:
        return ReadText(place, value);
    case FieldDescriptor::TYPE_MESSAGE:
        return ReadMessage(place, value);
    case FieldDescriptor::TYPE_INT32:
    case FieldDescriptor::TYPE_DOUBLE:
        return !place.field.is_repeated() && ReadNumber(place, value);
    default:
        return false;
    }
}

bool ReadField(const Place& place, const RapidJsonValue& value)
{
    if (!place.field.is_repeated())
    {
        return ReadOne(place, value);
    }
    if (!value.IsArray() || place.field.is_map())
    {
        return false;
    }
    for (const RapidJsonValue& element : value.GetElements())
    {
        if (!ReadOne(place, element))
        {
            return false;
        }
    }
    return true;
}

} // namespace

bool ReadPlainJson(const RapidJsonValue& value, Message& message)
{
    if (!value.IsObject())
    {
        return false;
    }
    const FieldsByName& fields = GetFieldsByName(*message.GetDescriptor());
    const Reflection& reflection = *message.GetReflection();
    std::uint64_t read = 0;
    for (const RapidJsonMember& member : value.GetMembers())
    {
        const auto found = fields.find(member.name);
        if (found == fields.end())
        {
            if (member.name.empty() || member.value.IsObject() || member.value.IsArray())
            {
                return false;
            }
            continue;
        }
        const FieldDescriptor& field = *found->second;
        // A bit for each field; the messages of the tools have fewer than there are bits.
        const std::uint64_t bit = field.index() < 64 ? std::uint64_t{1} << static_cast<unsigned>(field.index()) : 0;
        if (bit == 0 || (read & bit) != 0 || !ReadField({message, reflection, field}, member.value))
        {
            return false;
        }
        read |= bit;
    }
    return true;
}

} // namespace AgentCore::Tests
