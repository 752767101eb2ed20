#pragma once

#include "shared.system-netlink.linux.hpp"

#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport
{

/// The bytes of a plain value.
template <typename T>
std::string BytesOf(const T& value)
{
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

/// One attribute with the filling that aligns the next one.
std::string NetlinkAttribute(std::uint16_t type, std::string_view content);

template <typename T>
std::string NetlinkNumber(std::uint16_t type, T number)
{
    return NetlinkAttribute(type, BytesOf(number));
}

/// With the null character that the kernel puts behind a text.
std::string NetlinkText(std::uint16_t type, const std::string& text);

/// One message of an answer to request number `NetlinkRequest::Sequence`, of the given kind, with everything behind its
/// header.
std::string NetlinkMessageBytes(std::uint16_t type, std::string_view payload, std::uint16_t flags = NLM_F_MULTI);

/// The end of a table, and the answer that refuses (or, with 0, acknowledges) a request.
std::string NetlinkDone();
std::string NetlinkError(int error);

/// Reads one message, made as above, by one of the row readers.
template <typename Rows>
void ReadRow(void (*readRow)(const Shared::System::NetlinkMessage&, Rows&), const std::string& message, Rows& rows)
{
    Shared::System::ReadNetlinkDatagram(
        message, Shared::System::NetlinkRequest::Sequence, 0,
        [&](const Shared::System::NetlinkMessage& read) { readRow(read, rows); });
}

/// Answers each request by what `answer` gives for it: datagrams, one after the other. When they run out, the rest of the
/// answer never comes.
class FakeNetlink final : public Shared::System::NetlinkTransport
{
public:
    using Answer = std::function<std::vector<std::string>(std::span<const char> request)>;

    explicit FakeNetlink(Answer answer);

    int Send(std::span<const char> message) override;
    int Receive(std::span<char> buffer, std::size_t& size) override;
    std::uint32_t GetPort() const override;

private:
    Answer m_answer;
    std::deque<std::string> m_datagrams;
};

/// Opens fakes with that answer.
Shared::System::NetlinkOpener OpenFakeNetlink(FakeNetlink::Answer answer);

/// The kind of a request's message, and of a generic one its command.
std::uint16_t TypeOfRequest(std::span<const char> request);
std::uint8_t CommandOfRequest(std::span<const char> request);

} // namespace TestSupport
