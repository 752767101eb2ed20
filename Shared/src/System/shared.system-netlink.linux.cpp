#include "shared.system-netlink.linux.hpp"

#include <algorithm>

#include <libmnl/libmnl.h>

#include <sys/socket.h>
#include <sys/time.h>

namespace Shared::System
{

namespace
{

/// The kernel fills no more than this of a reader's buffer.
constexpr std::size_t LargestDatagram = 32768;

class NetlinkSocket final : public NetlinkTransport
{
public:
    using Socket = std::unique_ptr<mnl_socket, int (*)(mnl_socket*)>;

    explicit NetlinkSocket(Socket socket) noexcept : m_socket(std::move(socket))
    {
    }

    int Send(std::span<const char> message) override
    {
        while (mnl_socket_sendto(m_socket.get(), message.data(), message.size()) < 0)
        {
            if (errno != EINTR)
            {
                return errno;
            }
        }
        return 0;
    }

    int Receive(std::span<char> buffer, std::size_t& size) override
    {
        while (true)
        {
            const auto count = mnl_socket_recvfrom(m_socket.get(), buffer.data(), buffer.size());
            if (count >= 0)
            {
                size = static_cast<std::size_t>(count);
                return 0;
            }
            // A signal ends the call even where others go on, as it has a time-out.
            if (errno != EINTR)
            {
                return errno;
            }
        }
    }

    std::uint32_t GetPort() const override
    {
        return mnl_socket_get_portid(m_socket.get());
    }

private:
    Socket m_socket;
};

/// Takes the first message off the datagram; null when what is left holds no whole one. The library's own check takes a
/// length above 2 GB for a negative one, which would fit.
const nlmsghdr* TakeMessage(std::span<const char>& datagram)
{
    const auto* const message = reinterpret_cast<const nlmsghdr*>(datagram.data());
    if (datagram.size() < sizeof(nlmsghdr) || message->nlmsg_len < sizeof(nlmsghdr) ||
        message->nlmsg_len > datagram.size())
    {
        return nullptr;
    }
    datagram = datagram.subspan(std::min<std::size_t>(NLMSG_ALIGN(std::size_t{message->nlmsg_len}), datagram.size()));
    return message;
}

/// The answer's end, if this message is one. See ReadNetlinkDatagram().
std::optional<int> ReadEnd(const nlmsghdr& message)
{
    // Both start with a number that is 0 or a negative errno; the end of a table may come without.
    std::int32_t code = 0;
    const bool isCoded = mnl_nlmsg_get_payload_len(&message) >= sizeof(code);
    if (isCoded)
    {
        std::memcpy(&code, mnl_nlmsg_get_payload(&message), sizeof(code));
    }
    switch (message.nlmsg_type)
    {
    case NLMSG_ERROR:
        return isCoded && code <= 0 && code > -4096 ? -code : EBADMSG;
    case NLMSG_DONE:
        return code < 0 && code > -4096 ? -code : 0;
    case NLMSG_OVERRUN:
        return ENOBUFS;
    default:
        return std::nullopt;
    }
}

} // namespace

std::unique_ptr<NetlinkTransport> OpenNetlink(int protocol)
{
    NetlinkSocket::Socket socket{mnl_socket_open2(protocol, SOCK_CLOEXEC), &mnl_socket_close};
    if (!socket || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) < 0)
    {
        return nullptr;
    }
    // The kernel answers at once or not at all.
    const timeval limit{5, 0};
    if (::setsockopt(mnl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) != 0)
    {
        return nullptr;
    }
    return std::make_unique<NetlinkSocket>(std::move(socket));
}

NetlinkRequest::NetlinkRequest(std::uint16_t type, std::uint16_t flags) : m_message(MNL_NLMSG_HDRLEN)
{
    auto* const header = reinterpret_cast<nlmsghdr*>(m_message.data());
    header->nlmsg_type = type;
    header->nlmsg_flags =
        static_cast<std::uint16_t>(NLM_F_REQUEST | ((flags & NLM_F_DUMP) != 0 ? flags : flags | NLM_F_ACK));
    header->nlmsg_seq = Sequence;
    header->nlmsg_len = MNL_NLMSG_HDRLEN;
}

void NetlinkRequest::PutNumber(std::uint16_t type, std::uint32_t number)
{
    PutAttribute(type, &number, sizeof(number));
}

void NetlinkRequest::PutText(std::uint16_t type, const std::string& text)
{
    PutAttribute(type, text.c_str(), text.size() + 1);
}

std::span<const char> NetlinkRequest::Get() const noexcept
{
    return m_message;
}

void NetlinkRequest::PutAttribute(std::uint16_t type, const void* bytes, std::size_t size)
{
    const nlattr header{static_cast<std::uint16_t>(MNL_ATTR_HDRLEN + size), type};
    Append(&header, sizeof(header));
    Append(bytes, size);
}

void NetlinkRequest::Append(const void* bytes, std::size_t size)
{
    const auto* const start = static_cast<const char*>(bytes);
    m_message.insert(m_message.end(), start, start + size);
    m_message.resize(MNL_ALIGN(m_message.size()));
    reinterpret_cast<nlmsghdr*>(m_message.data())->nlmsg_len = static_cast<std::uint32_t>(m_message.size());
}

NetlinkMessage::NetlinkMessage(const nlmsghdr& message) noexcept
    : m_type(message.nlmsg_type),
      m_payload(static_cast<const char*>(mnl_nlmsg_get_payload(&message)), mnl_nlmsg_get_payload_len(&message))
{
}

std::uint16_t NetlinkMessage::GetType() const noexcept
{
    return m_type;
}

std::span<const char> NetlinkMessage::GetAttributes(std::size_t headerSize) const noexcept
{
    return m_payload.subspan(std::min<std::size_t>(MNL_ALIGN(headerSize), m_payload.size()));
}

NetlinkAttributes::NetlinkAttributes(std::span<const char> bytes) noexcept : m_bytes(bytes)
{
}

std::optional<std::span<const char>> NetlinkAttributes::Find(std::uint16_t type) const noexcept
{
    std::optional<std::span<const char>> found;
    auto rest = m_bytes;
    while (true)
    {
        const auto* const attribute = reinterpret_cast<const nlattr*>(rest.data());
        if (!mnl_attr_ok(attribute, static_cast<int>(rest.size())))
        {
            return found;
        }
        if (mnl_attr_get_type(attribute) == type)
        {
            found = rest.subspan(MNL_ATTR_HDRLEN, mnl_attr_get_payload_len(attribute));
        }
        rest = rest.subspan(std::min<std::size_t>(MNL_ALIGN(attribute->nla_len), rest.size()));
    }
}

NetlinkAttributes NetlinkAttributes::Nested(std::uint16_t type) const noexcept
{
    const auto content = Find(type);
    return content ? NetlinkAttributes{*content} : NetlinkAttributes{};
}

std::string_view NetlinkAttributes::Text(std::uint16_t type) const noexcept
{
    const auto content = Find(type);
    if (!content)
    {
        return {};
    }
    const std::string_view text{content->data(), content->size()};
    return text.substr(0, text.find('\0'));
}

std::optional<int> ReadNetlinkDatagram(
    std::span<const char> datagram, std::uint32_t sequence, std::uint32_t port, const NetlinkRow& onRow)
{
    for (const auto* message = TakeMessage(datagram); message != nullptr; message = TakeMessage(datagram))
    {
        if (!mnl_nlmsg_seq_ok(message, sequence) || !mnl_nlmsg_portid_ok(message, port))
        {
            continue;
        }
        if ((message->nlmsg_flags & NLM_F_DUMP_INTR) != 0)
        {
            return EINTR;
        }
        if (const auto end = ReadEnd(*message))
        {
            return end;
        }
        if (message->nlmsg_type >= NLMSG_MIN_TYPE)
        {
            onRow(NetlinkMessage{*message});
        }
    }
    return std::nullopt;
}

int AskNetlink(NetlinkTransport& transport, const NetlinkRequest& request, const NetlinkRow& onRow)
{
    if (const int error = transport.Send(request.Get()); error != 0)
    {
        return error;
    }
    std::vector<char> buffer(LargestDatagram);
    while (true)
    {
        std::size_t size = 0;
        if (const int error = transport.Receive(buffer, size); error != 0)
        {
            return error;
        }
        if (const auto end = ReadNetlinkDatagram(
                std::span<const char>{buffer}.first(size), NetlinkRequest::Sequence, transport.GetPort(), onRow))
        {
            return *end;
        }
    }
}

} // namespace Shared::System
