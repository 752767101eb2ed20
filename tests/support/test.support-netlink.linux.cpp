#include "test.support-netlink.linux.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

#include <linux/genetlink.h>

namespace TestSupport
{

namespace
{

void Align(std::string& bytes)
{
    bytes.resize(NLMSG_ALIGN(bytes.size()));
}

} // namespace

std::string NetlinkAttribute(std::uint16_t type, std::string_view content)
{
    auto bytes = BytesOf(nlattr{static_cast<std::uint16_t>(sizeof(nlattr) + content.size()), type});
    bytes += content;
    Align(bytes);
    return bytes;
}

std::string NetlinkText(std::uint16_t type, const std::string& text)
{
    return NetlinkAttribute(type, {text.c_str(), text.size() + 1});
}

std::string NetlinkMessageBytes(std::uint16_t type, std::string_view payload, std::uint16_t flags)
{
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(sizeof(header) + payload.size());
    header.nlmsg_type = type;
    header.nlmsg_flags = flags;
    header.nlmsg_seq = Shared::System::NetlinkRequest::Sequence;
    auto bytes = BytesOf(header);
    bytes += payload;
    Align(bytes);
    return bytes;
}

std::string NetlinkDone()
{
    return NetlinkMessageBytes(NLMSG_DONE, BytesOf(0));
}

std::string NetlinkError(int error)
{
    return NetlinkMessageBytes(NLMSG_ERROR, BytesOf(nlmsgerr{-error, {}}), 0);
}

FakeNetlink::FakeNetlink(Answer answer) : m_answer(std::move(answer))
{
}

int FakeNetlink::Send(std::span<const char> message)
{
    const auto datagrams = m_answer(message);
    m_datagrams.assign(datagrams.begin(), datagrams.end());
    return 0;
}

int FakeNetlink::Receive(std::span<char> buffer, std::size_t& size)
{
    if (m_datagrams.empty())
    {
        return EAGAIN;
    }
    size = std::min(m_datagrams.front().size(), buffer.size());
    std::copy_n(m_datagrams.front().begin(), size, buffer.begin());
    m_datagrams.pop_front();
    return 0;
}

std::uint32_t FakeNetlink::GetPort() const
{
    return 4711;
}

Shared::System::NetlinkOpener OpenFakeNetlink(FakeNetlink::Answer answer)
{
    return [answer = std::move(answer)]
    {
        return std::make_unique<FakeNetlink>(answer);
    };
}

std::uint16_t TypeOfRequest(std::span<const char> request)
{
    nlmsghdr header{};
    std::memcpy(&header, request.data(), sizeof(header));
    return header.nlmsg_type;
}

std::uint8_t CommandOfRequest(std::span<const char> request)
{
    genlmsghdr header{};
    std::memcpy(&header, request.data() + NLMSG_HDRLEN, sizeof(header));
    return header.cmd;
}

} // namespace TestSupport
