#include "agentcore.ops-exceptions.hpp"

#include "shared.exception-exceptions.hpp"

#include <utility>

#include <fmt/format.h>

namespace AgentCore::Exception
{

namespace
{

constexpr std::int32_t BadRequest = 400;

} // namespace

ApiClientException::ApiClientException(const std::string& text, const std::source_location& where)
    : std::runtime_error(Shared::Exception::Detail::FormatBaseText(text.c_str(), where))
{
}

ApiClientException::ApiClientException(const Worded& worded) : std::runtime_error(worded.message)
{
}

ConnectionException::ConnectionException(const std::string& text, const std::source_location& where)
    : ApiClientException(text, where)
{
}

ResponseException::ResponseException(
    const std::string& text, std::int32_t responseCode, const std::source_location& where)
    : ApiClientException(text, where), m_responseCode(responseCode)
{
}

ResponseException::ResponseException(const Worded& worded, std::int32_t responseCode)
    : ApiClientException(worded), m_responseCode(responseCode)
{
}

std::int32_t ResponseException::GetResponseCode() const noexcept
{
    return m_responseCode;
}

ActionRequiredException::ActionRequiredException(const std::string& text, std::string action, std::string error)
    : ResponseException(
          Worded{fmt::format("response code {}, action {}, error {}: {}", BadRequest, action, error, text)},
          BadRequest),
      Action(std::move(action)),
      Error(std::move(error))
{
}

} // namespace AgentCore::Exception
