#pragma once

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
};

/// The network is away: the main loop goes to `Disconnected` instead of repeating the state.
class ConnectionException : public ApiClientException
{
public:
    explicit ConnectionException(
        const std::string& text, const std::source_location& where = std::source_location::current());
};

} // namespace AgentCore::Exception
