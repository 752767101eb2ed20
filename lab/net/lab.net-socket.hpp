#pragma once

#include "lab.net-endpoint.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Lab::Net
{

/// Why an operation of a socket did not do what it was called for.
enum class Failure
{
    /// Its time was over. What had arrived or gone out until then is not known.
    TimedOut,
    /// Shutdown() was called on this side.
    ShutDown,
    /// The system refused; the text says why.
    Refused
};

class SocketError : public std::runtime_error
{
public:
    SocketError(Failure failure, const std::string& text);

    Failure GetFailure() const noexcept;

private:
    Failure m_failure;
};

/// A connected TCP stream. Its operations block, but never longer than they are given (in real time), and never past
/// Shutdown(). One thread may receive while another one sends; neither operation may be called by two at once. No
/// operation raises SIGPIPE, and no child process inherits the socket.
class Socket
{
public:
    /// Throws SocketError: "cannot connect to 127.0.0.1:1: ...".
    static std::shared_ptr<Socket> Connect(const Endpoint& endpoint, std::chrono::milliseconds timeout);

    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket();

    /// Waits for bytes and takes what is there, at most `most`. Empty means that the other side has ended the stream.
    /// Throws SocketError, with TimedOut when nothing came.
    std::string Receive(std::size_t most, std::chrono::milliseconds timeout);

    /// Hands all bytes to the system. Throws SocketError; then some of them may have gone.
    void Send(std::string_view bytes, std::chrono::milliseconds timeout);

    /// Waits for `span`. Throws SocketError when the socket is shut down meanwhile.
    void Pause(std::chrono::milliseconds span);

    /// Ends the stream in both directions and every operation, those that are waiting now too, by SocketError with
    /// ShutDown. Any thread, safe to repeat.
    void Shutdown() noexcept;

private:
    friend class Listener;
    struct Native;
    explicit Socket(std::unique_ptr<Native> native) noexcept;

    std::unique_ptr<Native> m_native;
};

/// Takes connections on a free port of the loopback address.
class Listener
{
public:
    /// Throws SocketError.
    Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener();

    std::uint16_t GetPort() const noexcept;

    /// The next connection; null when none came within `timeout`. One thread. Throws SocketError.
    std::shared_ptr<Socket> Accept(std::chrono::milliseconds timeout);

    /// Ends Accept() by SocketError with ShutDown, from now on. Any thread, safe to repeat.
    void Shutdown() noexcept;

private:
    struct Native;
    std::unique_ptr<Native> m_native;
};

} // namespace Lab::Net
