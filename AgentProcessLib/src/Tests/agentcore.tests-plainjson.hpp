#pragma once

#include "shared.json-rapidjsondocument.hpp"

namespace google::protobuf
{
class Message;
} // namespace google::protobuf

namespace AgentCore::Tests
{

/// Reads a JSON object into an empty message, as the protobuf library does that passes unknown fields over, where the
/// object is written plainly: text for text, whole numbers for 32-bit ones, numbers for doubles, objects and arrays for what
/// they are, no name twice, and no unknown name for more than a simple value. That is what tools print, and takes a
/// fraction of the library's time. @return false for anything else: it is the library's to judge, and `message` is to be
/// thrown away. Any thread.
bool ReadPlainJson(const Shared::Json::RapidJsonValue& value, google::protobuf::Message& message);

} // namespace AgentCore::Tests
