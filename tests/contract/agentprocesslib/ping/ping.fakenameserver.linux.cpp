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

} // namespace

FakeNameServer::FakeNameServer(Answer answer, std::uint16_t port)
    : m_answer(std::move(answer)),
      m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      m_stop(::eventfd(0, EFD_CLOEXEC))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "bind");
    }
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
}

std::string FakeNameServer::GetAddress() const
{
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length);
    return "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

int FakeNameServer::CountQuestions() const noexcept
{
    return m_questions;
}

void FakeNameServer::Serve()
{
    while (true)
    {
        std::array<pollfd, 2> entries{{{m_socket, POLLIN, 0}, {m_stop, POLLIN, 0}}};
        if (::poll(entries.data(), entries.size(), -1) < 0 || entries[1].revents != 0)
        {
            return;
        }
        std::array<char, 4096> buffer{};
        sockaddr_in from{};
        socklen_t length = sizeof(from);
        auto* const sender = reinterpret_cast<sockaddr*>(&from);
        const auto size = ::recvfrom(m_socket, buffer.data(), buffer.size(), MSG_DONTWAIT, sender, &length);
        if (size < 0)
        {
            continue;
        }
        ++m_questions;
        for (const auto& datagram : m_answer({buffer.data(), static_cast<std::size_t>(size)}))
        {
            ::sendto(m_socket, datagram.data(), datagram.size(), MSG_NOSIGNAL, sender, length);
        }
    }
}

std::string MakeAnswer(
    const std::string& question, std::uint16_t flags, std::uint16_t records, const std::string& recordBytes)
{
    const auto id = question.substr(0, 2);
    const auto asked = question.size() > HeaderSize ? question.substr(HeaderSize) : std::string{};
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

} // namespace PingTest
