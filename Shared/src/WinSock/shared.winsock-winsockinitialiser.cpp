#include "shared.winsock-winsockinitialiser.hpp"

namespace Shared::WinSock
{

bool WinSockInitialiser::IsInitialised() const noexcept
{
    return m_initialised;
}

} // namespace Shared::WinSock
