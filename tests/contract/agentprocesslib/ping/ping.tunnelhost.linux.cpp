#include "ping.tunnelhost.linux.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <span>
#include <system_error>
#include <utility>

#include "agentcore.tests-icmpmessage.hpp"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace PingTest
{

namespace
{

constexpr std::size_t IpHeaderSize = 20;
constexpr std::size_t IcmpHeaderSize = 8;
constexpr const char* SetUp = "ip address add 10.9.1.1/24 dev veltun && ip link set veltun up mtu 1500";

bool IsEchoRequest(const TunnelHost::Packet& packet)
{
    return packet.size() >= IpHeaderSize + IcmpHeaderSize && packet[0] >> 4 == 4 && packet[9] == 1 &&
        packet[(packet[0] & 0x0FU) * 4U] == 8;
}

void WriteChecksum(std::span<std::uint8_t> bytes, std::size_t offset)
{
    bytes[offset] = 0;
    bytes[offset + 1] = 0;
    const auto sum = AgentCore::Tests::Icmp::ComputeChecksum(bytes);
    bytes[offset] = static_cast<std::uint8_t>(sum >> 8);
    bytes[offset + 1] = static_cast<std::uint8_t>(sum);
}

} // namespace

TunnelHost::TunnelHost(Answer answer)
    : m_answer(std::move(answer)),
      m_tunnel(::open("/dev/net/tun", O_RDWR | O_CLOEXEC)),
      m_stop(::eventfd(0, EFD_CLOEXEC))
{
    ifreq request{};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    std::strcpy(request.ifr_name, "veltun");
    if (m_tunnel < 0 || ::ioctl(m_tunnel, TUNSETIFF, &request) != 0 || std::system(SetUp) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "tunnel");
    }
    m_thread = std::thread{[this]
                           {
                               Serve();
                           }};
}

TunnelHost::~TunnelHost()
{
    const std::uint64_t one = 1;
    (void)!::write(m_stop, &one, sizeof(one));
    m_thread.join();
    ::close(m_tunnel);
    ::close(m_stop);
}

void TunnelHost::Serve()
{
    while (true)
    {
        std::array<pollfd, 2> entries{{{m_tunnel, POLLIN, 0}, {m_stop, POLLIN, 0}}};
        if (::poll(entries.data(), entries.size(), -1) < 0 || entries[1].revents != 0)
        {
            return;
        }
        Packet packet(2048);
        const auto size = ::read(m_tunnel, packet.data(), packet.size());
        packet.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        if (!IsEchoRequest(packet))
        {
            continue;
        }
        for (const auto& answer : m_answer(packet))
        {
            (void)!::write(m_tunnel, answer.data(), answer.size());
        }
    }
}

void Seal(TunnelHost::Packet& packet)
{
    packet[2] = static_cast<std::uint8_t>(packet.size() >> 8);
    packet[3] = static_cast<std::uint8_t>(packet.size());
    const std::size_t header = (packet[0] & 0x0FU) * 4U;
    WriteChecksum(std::span{packet}.first(header), 10);
    WriteChecksum(std::span{packet}.subspan(header), 2);
}

TunnelHost::Packet MakeReply(const TunnelHost::Packet& request)
{
    auto packet = request;
    std::swap_ranges(packet.begin() + 12, packet.begin() + 16, packet.begin() + 16);
    packet[8] = 64;
    packet[(packet[0] & 0x0FU) * 4U] = 0;
    Seal(packet);
    return packet;
}

TunnelHost::Packet MakeError(
    const TunnelHost::Packet& request, std::uint8_t router, std::uint8_t type, std::uint8_t code)
{
    TunnelHost::Packet packet(IpHeaderSize + IcmpHeaderSize);
    packet[0] = 0x45;
    packet[8] = 64;
    packet[9] = 1;
    const std::array<std::uint8_t, 4> source = {10, 9, 1, router};
    std::copy(source.begin(), source.end(), packet.begin() + 12);
    std::copy_n(request.begin() + 12, 4, packet.begin() + 16);
    packet[IpHeaderSize] = type;
    packet[IpHeaderSize + 1] = code;
    packet.insert(packet.end(), request.begin(), request.end());
    Seal(packet);
    return packet;
}

} // namespace PingTest
