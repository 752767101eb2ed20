#pragma once

namespace Shared::WinSock
{

/// Makes sockets usable for as long as it lives. One belongs to the process's main thread, before anything else that uses
/// the network.
///
/// Windows: starts the socket library, version 2.2, and ends it on destruction if it was started.
/// Linux: sockets need no start. But writing to one whose other end is gone would end the process by SIGPIPE, so the
/// process's default action for it is replaced by ignoring it, for good: the library has no end at which it would be safe
/// to take that back. A handler that somebody installed is left alone. Programs that the process starts inherit an ignored
/// signal; who starts them resets it.
class WinSockInitialiser
{
public:
    WinSockInitialiser() noexcept = default;
    WinSockInitialiser(const WinSockInitialiser&) = delete;
    WinSockInitialiser& operator=(const WinSockInitialiser&) = delete;
    virtual ~WinSockInitialiser();

    /// Does it once; further calls do nothing. Throws Win32Exception "WSAStartup() failed", and may then be repeated.
    virtual void Initialise();

    virtual bool IsInitialised() const noexcept;

private:
    bool m_initialised = false;
};

} // namespace Shared::WinSock
