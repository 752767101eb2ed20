#pragma once

#include "lab.net-socket.hpp"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

// What travels on the laboratory's TCP streams: frames, each behind its length in four bytes, the highest first.

namespace Lab::Net
{

/// The most that one frame may hold: a payload of 256 MiB and its envelope.
inline constexpr std::size_t LargestFrame = (256U << 20U) + (64U << 10U);

/// A stream announced a frame that is larger.
class FrameTooLarge : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The four bytes in front of a frame. Throws FrameTooLarge.
std::string LengthPrefix(std::size_t length);

/// Finds the frames in the pieces of a stream. It holds no more than has arrived, whatever a length promises.
class FrameDecoder
{
public:
    explicit FrameDecoder(std::size_t largest = LargestFrame) noexcept;

    void Feed(std::string_view piece);
    /// The next whole frame; nothing until more has arrived. Throws FrameTooLarge, and from then on always.
    std::optional<std::string> Next();
    /// Whether the stream may end here without having cut a frame.
    bool IsBetweenFrames() const noexcept;

private:
    void DropTaken();

    std::size_t m_largest;
    std::string m_bytes;
    std::size_t m_taken = 0;
};

/// In how many bites bytes are given to a socket, for streams that arrive in crumbs.
struct Fragments
{
    /// 0: all at once.
    std::size_t bytes = 0;
    std::chrono::milliseconds pause{0};
};

/// A socket that speaks in frames. One thread may receive while another one sends.
class FrameStream
{
public:
    explicit FrameStream(std::shared_ptr<Socket> socket) noexcept;

    /// The next frame; nothing when the other side has ended the stream between two. `timeout` is for each wait for bytes,
    /// not for the whole frame. Throws SocketError, FrameTooLarge, and std::runtime_error when the stream ends in a frame.
    std::optional<std::string> Receive(std::chrono::milliseconds timeout);

    /// `timeout` is for each bite. Throws SocketError, FrameTooLarge.
    void Send(std::string_view frame, std::chrono::milliseconds timeout, const Fragments& fragments = {});

    /// As the socket's.
    void Shutdown() noexcept;

private:
    std::shared_ptr<Socket> m_socket;
    FrameDecoder m_decoder;
};

} // namespace Lab::Net
