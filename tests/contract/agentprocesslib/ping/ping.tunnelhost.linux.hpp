#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace PingTest
{

/// All of a network behind a tunnel interface of the calling thread's network namespace: what is sent to an address of
/// 10.9.1.0/24 other than 10.9.1.1, the machine's own, comes here as a packet with its IP header. Answers from a thread of
/// its own.
class TunnelHost
{
public:
    using Packet = std::vector<std::uint8_t>;
    /// The packets that come back for an echo request.
    using Answer = std::function<std::vector<Packet>(const Packet& request)>;

    /// Throws std::system_error where there are no tunnels.
    explicit TunnelHost(Answer answer);
    TunnelHost(const TunnelHost&) = delete;
    TunnelHost& operator=(const TunnelHost&) = delete;
    ~TunnelHost();

private:
    void Serve();

    Answer m_answer;
    int m_tunnel = -1;
    int m_stop = -1;
    std::thread m_thread;
};

/// The reply to a request, with its checksum.
TunnelHost::Packet MakeReply(const TunnelHost::Packet& request);

/// The error that a router with the address 10.9.1.`router` tells about a request.
TunnelHost::Packet MakeError(
    const TunnelHost::Packet& request, std::uint8_t router, std::uint8_t type, std::uint8_t code);

/// Writes the checksums of the IP header and the message anew.
void Seal(TunnelHost::Packet& packet);

} // namespace PingTest
