#include "agentcore.messaging-configanswer.hpp"

#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::Messaging
{

bool IsSuccessful(const Shared::Json::RapidJsonDocument& answer, std::string_view errorText)
{
    if (answer.GetOptionalValueByPath("success").GetBool().GetValue())
    {
        return true;
    }
    const auto error = answer.GetOptionalValueByPath("error").GetString();
    if (error.HasValue())
    {
        Shared::Log::Warn("{}: {}", errorText, error.GetValue());
    }
    else
    {
        Shared::Log::Warn("{}", errorText);
    }
    return false;
}

std::string EscapeForPointer(std::string_view name)
{
    return Shared::Util::ReplaceAll(Shared::Util::ReplaceAll(name, "~", "~0"), "/", "~1");
}

} // namespace AgentCore::Messaging
