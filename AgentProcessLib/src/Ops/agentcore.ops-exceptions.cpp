#include "agentcore.ops-exceptions.hpp"

#include "shared.exception-exceptions.hpp"

namespace AgentCore::Exception
{

ApiClientException::ApiClientException(const std::string& text, const std::source_location& where)
    : std::runtime_error(Shared::Exception::Detail::FormatBaseText(text.c_str(), where))
{
}

ConnectionException::ConnectionException(const std::string& text, const std::source_location& where)
    : ApiClientException(text, where)
{
}

} // namespace AgentCore::Exception
