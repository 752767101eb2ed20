#pragma once

#include "shared.json-rapidjsondocument.hpp"

#include <string>
#include <string_view>

/// What all answers with configuration have in common. Any thread.
namespace AgentCore::Messaging
{

/// Whether the server says that it could answer. If not, `errorText`, with the server's own words behind it where there are
/// some, is logged at level warning. Throws the runtime exception "Nullable is null" for an answer without a boolean
/// "success".
bool IsSuccessful(const Shared::Json::RapidJsonDocument& answer, std::string_view errorText);

/// `name` as a token of a JSON pointer (RFC 6901).
std::string EscapeForPointer(std::string_view name);

} // namespace AgentCore::Messaging
