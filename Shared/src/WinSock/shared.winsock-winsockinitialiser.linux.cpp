#include "shared.winsock-winsockinitialiser.hpp"

#include <csignal>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

namespace Shared::WinSock
{

WinSockInitialiser::~WinSockInitialiser() = default;

void WinSockInitialiser::Initialise()
{
    if (m_initialised)
    {
        return;
    }

    struct sigaction current
    {
    };

    if (::sigaction(SIGPIPE, nullptr, &current) != 0)
    {
        throw Exception::Win32Exception("WSAStartup() failed", Platform::LastError());
    }
    if ((current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == SIG_DFL)
    {
        struct sigaction ignore
        {
        };

        ignore.sa_handler = SIG_IGN;
        ::sigemptyset(&ignore.sa_mask);
        if (::sigaction(SIGPIPE, &ignore, nullptr) != 0)
        {
            throw Exception::Win32Exception("WSAStartup() failed", Platform::LastError());
        }
    }
    m_initialised = true;
}

} // namespace Shared::WinSock
