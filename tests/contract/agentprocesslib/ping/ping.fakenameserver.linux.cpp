#include "ping.fakenameserver.linux.hpp"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace PingTest
{

namespace
{

constexpr std::size_t HeaderSize = 12;

std::string Number(std::uint16_t number)
{
    return {static_cast<char>(number >> 8), static_cast<char>(number)};
}

std::uint16_t ReadNumber(const std::string& bytes)
{
    return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[0]) << 8 | static_cast<unsigned char>(bytes[1]));
}

void Bind(int socket, std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "bind");
    }
}

std::uint16_t PortOf(int socket)
{
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

/// Answers until the client ends the connection, or has said nothing for a long time.
void AnswerAll(int connection, const FakeNameServer::Answer& answer)
{
    const timeval longest{5, 0};
    ::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof(longest));
    const auto receive = [connection](std::size_t size)
    {
        std::string bytes(size, '\0');
        const auto got = ::recv(connection, bytes.data(), size, MSG_WAITALL);
        return got == static_cast<ssize_t>(size) ? bytes : std::string{};
    };
    for (auto size = receive(2); !size.empty(); size = receive(2))
    {
        const auto question = receive(ReadNumber(size));
        for (const auto& message : answer(question))
        {
            const auto framed = Number(static_cast<std::uint16_t>(message.size())) + message;
            ::send(connection, framed.data(), framed.size(), MSG_NOSIGNAL);
        }
    }
}

} // namespace

FakeNameServer::FakeNameServer(Answer answer, std::uint16_t port)
    : m_answer(std::move(answer)),
      m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      m_stop(::eventfd(0, EFD_CLOEXEC))
{
    Bind(m_socket, port);
    m_thread = std::thread{[this]
                           {
                               Serve();
                           }};
}

FakeNameServer::FakeNameServer(Answer answer, OverTcp overTcp, std::uint16_t port)
    : m_answer(std::move(answer)),
      m_overTcp(std::move(overTcp)),
      m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      m_stop(::eventfd(0, EFD_CLOEXEC))
{
    Bind(m_socket, port);
    Bind(m_listener, PortOf(m_socket));
    ::listen(m_listener, 16);
    m_thread = std::thread{[this]
                           {
                               Serve();
                           }};
}

FakeNameServer::~FakeNameServer()
{
    const std::uint64_t one = 1;
    (void)!::write(m_stop, &one, sizeof(one));
    m_thread.join();
    ::close(m_socket);
    ::close(m_stop);
    if (m_listener >= 0)
    {
        ::close(m_listener);
    }
}

std::string FakeNameServer::GetAddress() const
{
    return "127.0.0.1:" + std::to_string(PortOf(m_socket));
}

int FakeNameServer::CountQuestions() const noexcept
{
    return m_questions;
}

int FakeNameServer::CountConnections() const noexcept
{
    return m_connections;
}

void FakeNameServer::Serve()
{
    while (true)
    {
        std::array<pollfd, 3> entries{{{m_socket, POLLIN, 0}, {m_stop, POLLIN, 0}, {m_listener, POLLIN, 0}}};
        if (::poll(entries.data(), entries.size(), -1) < 0 || entries[1].revents != 0)
        {
            return;
        }
        if (entries[0].revents != 0)
        {
            ServeDatagram();
        }
        if (entries[2].revents != 0)
        {
            ServeConnection();
        }
    }
}

void FakeNameServer::ServeDatagram()
{
    std::array<char, 4096> buffer{};
    sockaddr_in from{};
    socklen_t length = sizeof(from);
    auto* const sender = reinterpret_cast<sockaddr*>(&from);
    const auto size = ::recvfrom(m_socket, buffer.data(), buffer.size(), MSG_DONTWAIT, sender, &length);
    if (size < 0)
    {
        return;
    }
    ++m_questions;
    for (const auto& datagram : m_answer({buffer.data(), static_cast<std::size_t>(size)}))
    {
        ::sendto(m_socket, datagram.data(), datagram.size(), MSG_NOSIGNAL, sender, length);
    }
}

void FakeNameServer::ServeConnection()
{
    const int connection = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    ++m_connections;
    if (m_overTcp.answer)
    {
        AnswerAll(connection, m_overTcp.answer);
    }
    else
    {
        // First the end of what is said, then nothing is heard any more: the client's next word is refused.
        const linger atOnce{1, 0};
        ::shutdown(connection, SHUT_WR);
        ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
    }
    ::close(connection);
}

bool AsksForIpV4(const std::string& question)
{
    const auto endOfName = question.find('\0', HeaderSize);
    return endOfName != std::string::npos && question.substr(endOfName + 1, 2) == Number(TypeA);
}

std::string MakeAnswer(
    const std::string& question, std::uint16_t flags, std::uint16_t records, const std::string& recordBytes)
{
    const auto id = question.substr(0, 2);
    // The name, its type and its class; what may follow is none of the question.
    const auto end = question.find('\0', HeaderSize);
    const auto asked = end == std::string::npos ? std::string{} : question.substr(HeaderSize, end + 5 - HeaderSize);
    return id + Number(flags) + Number(1) + Number(records) + Number(0) + Number(0) + asked + recordBytes;
}

std::string MakeRecord(std::uint16_t type, const std::string& address)
{
    const std::string nameOfTheQuestion = "\xC0\x0C";
    return nameOfTheQuestion + Number(type) + Number(1) + Number(0) + Number(60) +
        Number(static_cast<std::uint16_t>(address.size())) + address;
}

std::vector<std::string> AnswerWell(const std::string& question)
{
    return {MakeAnswer(question, NoError, 1, MakeRecord(TypeA, std::string("\xC0\x00\x02\x35", 4)))};
}

std::vector<std::string> AnswerCut(const std::string& question)
{
    return {MakeAnswer(question, IsCut, 0, "")};
}

std::vector<std::string> AnswerWithMany(const std::string& question, std::uint16_t count)
{
    if (!AsksForIpV4(question))
    {
        return {MakeAnswer(question, NoError, 0, "")};
    }
    std::string records;
    for (std::uint16_t i = 0; i < count; ++i)
    {
        records += MakeRecord(TypeA, std::string("\x0A\0", 2) + Number(i));
    }
    return {MakeAnswer(question, NoError, count, records)};
}

} // namespace PingTest
