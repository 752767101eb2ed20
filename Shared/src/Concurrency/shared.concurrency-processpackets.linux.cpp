#include "shared.concurrency-processpackets.linux.hpp"

#include <cstring>

#include <sys/socket.h>
#include <unistd.h>

namespace Shared::Concurrency::Native::Keeper
{

Descriptors::~Descriptors()
{
    for (std::size_t i = m_next; i < m_count; ++i)
    {
        ::close(m_items[i]);
    }
    CloseLent();
}

void Descriptors::CloseLent() noexcept
{
    for (std::size_t i = 0; i < m_lentCount; ++i)
    {
        ::close(m_lent[i]);
    }
    m_lentCount = 0;
}

bool Answer(int channel, const Reply& reply, int descriptor) noexcept
{
    Reply content = reply;
    iovec text = {&content, sizeof content};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message = {};
    message.msg_iov = &text;
    message.msg_iovlen = 1;
    if (descriptor >= 0)
    {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof descriptor);
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    return ::sendmsg(channel, &message, MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(sizeof content);
}

void AnswerFailure(int channel, StartStep step, int error) noexcept
{
    (void)Answer(channel, {ReplyKind::Failed, static_cast<std::uint32_t>(error), step}, -1);
}

ssize_t ReceivePacket(int socket, std::span<char> packet, Descriptors& descriptors) noexcept
{
    iovec text = {packet.data(), packet.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int) * MostDescriptors)> control{};
    msghdr message = {};
    message.msg_iov = &text;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
    if (size < 0)
    {
        return size;
    }
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header))
    {
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; header->cmsg_type == SCM_RIGHTS && i < count && !descriptors.IsFull(); ++i)
        {
            int descriptor = -1;
            std::memcpy(&descriptor, CMSG_DATA(header) + i * sizeof descriptor, sizeof descriptor);
            descriptors.Add(descriptor);
        }
    }
    if ((message.msg_flags & MSG_CTRUNC) != 0)
    {
        descriptors.CutOff();
    }
    return size;
}

} // namespace Shared::Concurrency::Native::Keeper
