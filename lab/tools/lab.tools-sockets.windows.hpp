#pragma once

#include "shared.winsock-winsockinitialiser.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Lab::Tools
{

/// Starts the library of sockets, which stays until the process ends.
inline void StartSockets()
{
    static Shared::WinSock::WinSockInitialiser s_initialiser;
    static const bool s_started = []
    {
        s_initialiser.Initialise();
        return true;
    }();
    (void)s_started;
}

} // namespace Lab::Tools
