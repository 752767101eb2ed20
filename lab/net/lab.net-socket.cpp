#include "lab.net-socket.hpp"

#include <utility>

namespace Lab::Net
{

SocketError::SocketError(Failure failure, const std::string& text) : std::runtime_error(text), m_failure(failure)
{
}

Failure SocketError::GetFailure() const noexcept
{
    return m_failure;
}

} // namespace Lab::Net
