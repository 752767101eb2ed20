#include "shared.winsock-winsockinitialiser.hpp"

#include <cstdint>
#include <string_view>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-standarderror.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::WinSock
{

WinSockInitialiser::~WinSockInitialiser()
{
    if (m_initialised && ::WSACleanup() != 0)
    {
        Platform::PrintToStandardError(std::wstring_view{L"WSACleanup() failed\n"});
    }
}

void WinSockInitialiser::Initialise()
{
    if (m_initialised)
    {
        return;
    }
    WSADATA data{};
    const int result = ::WSAStartup(MAKEWORD(2, 2), &data);
    if (result != 0)
    {
        throw Exception::Win32Exception("WSAStartup() failed", static_cast<std::uint32_t>(result));
    }
    m_initialised = true;
}

} // namespace Shared::WinSock
