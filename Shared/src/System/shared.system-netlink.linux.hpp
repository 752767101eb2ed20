#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "shared.platform-errors.hpp"

#include <linux/netlink.h>

/// Conversations with the kernel over netlink. What the kernel sends is checked against the bytes that are really there,
/// so that no message, however damaged, is read beyond its end.
namespace Shared::System
{

/// A socket of one netlink protocol, or what a test puts in its place. Used by one thread at a time.
class NetlinkTransport
{
public:
    NetlinkTransport() = default;
    NetlinkTransport(const NetlinkTransport&) = delete;
    NetlinkTransport& operator=(const NetlinkTransport&) = delete;
    virtual ~NetlinkTransport() = default;

    /// Sends one message. Gives 0 or an errno.
    virtual int Send(std::span<const char> message) = 0;

    /// Waits for the next datagram and puts it at the front of `buffer`, its size into `size`. Gives 0 or an errno; EAGAIN
    /// when nothing came in time.
    virtual int Receive(std::span<char> buffer, std::size_t& size) = 0;

    /// The port to which the kernel addresses its answers.
    virtual std::uint32_t GetPort() const = 0;
};

/// Opens the kernel's own. Null, with the reason in Platform::LastError(), when the kernel refuses. An answer is waited for
/// five seconds.
/// @param protocol  NETLINK_ROUTE and the like
std::unique_ptr<NetlinkTransport> OpenNetlink(int protocol);

/// A request to the kernel that grows by attributes.
class NetlinkRequest
{
public:
    /// @param type    of the message
    /// @param flags   NLM_F_DUMP for a whole table; without it the kernel is asked for an acknowledgement
    /// @param header  of the message's kind
    template <typename Header>
    NetlinkRequest(std::uint16_t type, std::uint16_t flags, const Header& header) : NetlinkRequest(type, flags)
    {
        Append(&header, sizeof(header));
    }

    void PutNumber(std::uint16_t type, std::uint32_t number);
    /// With the null character behind it that the kernel wants.
    void PutText(std::uint16_t type, const std::string& text);

    /// The finished message.
    std::span<const char> Get() const noexcept;

    static constexpr std::uint32_t Sequence = 1;

private:
    NetlinkRequest(std::uint16_t type, std::uint16_t flags);
    void PutAttribute(std::uint16_t type, const void* bytes, std::size_t size);
    void Append(const void* bytes, std::size_t size);

    std::vector<char> m_message;
};

/// One message of an answer.
class NetlinkMessage
{
public:
    /// @param message  a whole message that says its length truly
    explicit NetlinkMessage(const nlmsghdr& message) noexcept;

    std::uint16_t GetType() const noexcept;

    /// The header of the message's kind; nothing when the message is too short for one.
    template <typename Header>
    std::optional<Header> ReadHeader() const noexcept
    {
        if (m_payload.size() < sizeof(Header))
        {
            return std::nullopt;
        }
        Header header{};
        std::memcpy(&header, m_payload.data(), sizeof(header));
        return header;
    }

    /// What stands behind a header of that size.
    std::span<const char> GetAttributes(std::size_t headerSize) const noexcept;

private:
    std::uint16_t m_type;
    std::span<const char> m_payload;
};

/// A row of attributes, at any place of a message. Refers to the message's bytes. Of several of one number the last counts.
class NetlinkAttributes
{
public:
    NetlinkAttributes() = default;
    explicit NetlinkAttributes(std::span<const char> bytes) noexcept;

    /// The content of an attribute; nothing when there is none.
    std::optional<std::span<const char>> Find(std::uint16_t type) const noexcept;

    /// The attributes inside of an attribute; an empty row when there is none.
    NetlinkAttributes Nested(std::uint16_t type) const noexcept;

    /// The content up to the first null character; empty when there is none.
    std::string_view Text(std::uint16_t type) const noexcept;

    /// The number or plain record with which the content starts; nothing when it is shorter.
    template <typename T>
    std::optional<T> Read(std::uint16_t type) const noexcept
    {
        const auto content = Find(type);
        if (!content || content->size() < sizeof(T))
        {
            return std::nullopt;
        }
        T value{};
        std::memcpy(&value, content->data(), sizeof(value));
        return value;
    }

private:
    std::span<const char> m_bytes;
};

using NetlinkRow = std::function<void(const NetlinkMessage& message)>;

/// Hands the messages of one datagram to `onRow`, those that answer request number `sequence` of `port`; others are passed
/// over. Nothing while more datagrams belong to the answer; 0 when it is whole; else an errno: the kernel's refusal, EBADMSG
/// for a damaged one, EINTR when the table changed while it was read and must be read anew. `datagram` is aligned for
/// 32-bit numbers.
std::optional<int> ReadNetlinkDatagram(
    std::span<const char> datagram, std::uint32_t sequence, std::uint32_t port, const NetlinkRow& onRow);

/// Sends a request and hands its answer to `onRow`, message by message. Gives 0 or an errno, as above. After a failure the
/// rest of the answer may still come, so the transport is of no further use.
int AskNetlink(NetlinkTransport& transport, const NetlinkRequest& request, const NetlinkRow& onRow);

/// Opens a transport, or gives null with the reason in Platform::LastError().
using NetlinkOpener = std::function<std::unique_ptr<NetlinkTransport>()>;

/// How often a table is read that keeps changing meanwhile.
inline constexpr int MostNetlinkTries = 5;

/// Reads the whole answer to a request into `rows`, message by message by `readRow`, each try through a transport and into
/// rows of its own. Gives 0 or an errno. EAGAIN means that the table never held still, and `rows` is what the last try read
/// before it noticed; after another failure `rows` is as before.
template <typename Rows>
int ReadNetlinkTable(
    const NetlinkOpener& open,
    const NetlinkRequest& request,
    void (*readRow)(const NetlinkMessage& message, Rows& rows),
    Rows& rows)
{
    for (int i = 0; i < MostNetlinkTries; ++i)
    {
        const auto transport = open();
        if (!transport)
        {
            return static_cast<int>(Platform::LastError());
        }
        Rows read{};
        const int error =
            AskNetlink(*transport, request, [&](const NetlinkMessage& message) { readRow(message, read); });
        if (error == 0 || error == EINTR)
        {
            rows = std::move(read);
        }
        if (error != EINTR)
        {
            return error;
        }
    }
    return EAGAIN;
}

} // namespace Shared::System
