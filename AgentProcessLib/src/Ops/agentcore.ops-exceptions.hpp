#pragma once

#include <cstdint>
#include <source_location>
#include <stdexcept>
#include <string>

namespace AgentCore::Exception
{

/// A failure in the exchange with the server.
/// what(): as of the runtime exception, with the place.
class ApiClientException : public std::runtime_error
{
public:
    explicit ApiClientException(
        const std::string& text, const std::source_location& where = std::source_location::current());

protected:
    /// For subclasses that word their failure differently: the finished what().
    struct Worded
    {
        std::string message;
    };

    explicit ApiClientException(const Worded& worded);
};

/// The network is away: the main loop goes to `Disconnected` instead of repeating the state.
class ConnectionException : public ApiClientException
{
public:
    explicit ConnectionException(
        const std::string& text, const std::source_location& where = std::source_location::current());
};

/// The server answered, and refused.
class ResponseException : public ApiClientException
{
public:
    ResponseException(
        const std::string& text,
        std::int32_t responseCode,
        const std::source_location& where = std::source_location::current());

    /// With the numbers of HTTP.
    std::int32_t GetResponseCode() const noexcept;

protected:
    ResponseException(const Worded& worded, std::int32_t responseCode);

private:
    std::int32_t m_responseCode;
};

/// The server refused and says what the agent has to do. The response code is always 400.
/// what(): "response code {}, action {}, error {}: {}" with code, action, error and text.
class ActionRequiredException : public ResponseException
{
public:
    ActionRequiredException(const std::string& text, std::string action, std::string error);

    std::string Action;
    std::string Error;
};

} // namespace AgentCore::Exception
