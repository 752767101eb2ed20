#include "test.support-networkservices.linux.hpp"

#include "test.support-descriptor.linux.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace TestSupport
{

namespace
{

/// What one side waits for the other at most.
constexpr timeval PeerLimit = {10, 0};

std::uint16_t Bind(int socket, std::uint16_t port)
{
    const int on = 1;
    (void)::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    socklen_t size = sizeof address;
    auto* const general = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket, general, size) != 0 || ::getsockname(socket, general, &size) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "bind");
    }
    return ntohs(address.sin_port);
}

/// Ends the waits of the threads of a service.
class Latch
{
public:
    Latch() : m_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")
    {
    }

    void Set() const noexcept
    {
        const std::uint64_t one = 1;
        (void)!::write(m_event.Get(), &one, sizeof one);
    }

    /// False when the service ends. A descriptor of -1 is none.
    bool Await(int descriptor, int timeoutMs) const noexcept
    {
        std::array<pollfd, 2> entries = {{{m_event.Get(), POLLIN, 0}, {descriptor, POLLIN, 0}}};
        while (::poll(entries.data(), entries.size(), timeoutMs) < 0 && errno == EINTR)
        {
        }
        return entries[0].revents == 0;
    }

private:
    Descriptor m_event;
};

/// Gives each connection to a function, in a thread of its own.
class StreamServer
{
public:
    using Serve = std::function<void(int connection, const Latch& latch)>;

    StreamServer(std::uint16_t port, Serve serve)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"),
          m_port(Bind(m_socket.Get(), port)),
          m_serve(std::move(serve))
    {
        constexpr int Waiting = 64;
        if (::listen(m_socket.Get(), Waiting) != 0)
        {
            throw std::system_error(errno, std::generic_category(), "listen");
        }
        m_acceptor = std::thread([this] { Accept(); });
    }

    StreamServer(const StreamServer&) = delete;
    StreamServer& operator=(const StreamServer&) = delete;

    ~StreamServer()
    {
        m_latch.Set();
        m_acceptor.join();
        for (std::thread& thread : m_connections)
        {
            thread.join();
        }
    }

    std::uint16_t GetPort() const noexcept
    {
        return m_port;
    }

private:
    void Accept()
    {
        constexpr int Forever = -1;
        while (m_latch.Await(m_socket.Get(), Forever))
        {
            const int connection = ::accept4(m_socket.Get(), nullptr, nullptr, SOCK_CLOEXEC);
            if (connection >= 0)
            {
                m_connections.emplace_back([this, connection] { ServeOne(connection); });
            }
        }
    }

    void ServeOne(int connection) const
    {
        (void)::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &PeerLimit, sizeof PeerLimit);
        (void)::setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &PeerLimit, sizeof PeerLimit);
        m_serve(connection, m_latch);
        // What the peer still sends is not answered by a reset that would overtake our last bytes.
        ::shutdown(connection, SHUT_WR);
        ::close(connection);
    }

    Latch m_latch;
    Descriptor m_socket;
    std::uint16_t m_port;
    Serve m_serve;
    std::thread m_acceptor;
    /// Of the acceptor, until that has ended.
    std::vector<std::thread> m_connections;
};

using TlsContext = std::unique_ptr<SSL_CTX, decltype(&::SSL_CTX_free)>;

void RequireTls(bool holds)
{
    if (!holds)
    {
        throw std::runtime_error("OpenSSL makes no server");
    }
}

/// A key and a certificate that it signs itself, for a day.
void Certify(SSL_CTX* context)
{
    constexpr long Day = 86'400;
    const std::unique_ptr<EVP_PKEY, decltype(&::EVP_PKEY_free)> key(
        ::EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), &::EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&::X509_free)> certificate(::X509_new(), &::X509_free);
    RequireTls(key != nullptr && certificate != nullptr);
    ::ASN1_INTEGER_set(::X509_get_serialNumber(certificate.get()), 1);
    ::X509_gmtime_adj(::X509_getm_notBefore(certificate.get()), -Day);
    ::X509_gmtime_adj(::X509_getm_notAfter(certificate.get()), Day);
    ::X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* const name = ::X509_get_subject_name(certificate.get());
    const std::string_view common = "laboratory";
    ::X509_NAME_add_entry_by_txt(
        name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(common.data()),
        static_cast<int>(common.size()), -1, 0);
    ::X509_set_issuer_name(certificate.get(), name);
    RequireTls(::X509_sign(certificate.get(), key.get(), ::EVP_sha256()) != 0);
    RequireTls(::SSL_CTX_use_certificate(context, certificate.get()) == 1);
    RequireTls(::SSL_CTX_use_PrivateKey(context, key.get()) == 1);
}

TlsContext MakeContext()
{
    TlsContext context(::SSL_CTX_new(::TLS_server_method()), &::SSL_CTX_free);
    RequireTls(context != nullptr);
    Certify(context.get());
    return context;
}

std::string HeadOf(const HttpAnswer& answer)
{
    return "HTTP/1.1 " + std::to_string(answer.status) + " Answer\r\nContent-Length: " + std::to_string(answer.size) +
        "\r\nConnection: close\r\n\r\n";
}

/// One request and its answer, over any stream.
void Exchange(
    const std::function<int(char*, int)>& receive,
    const std::function<bool(const std::string&)>& send,
    const HttpAnswer& answer,
    const Latch& latch)
{
    constexpr std::size_t LongestRequest = 65'536;
    std::string request;
    std::array<char, 4096> part = {};
    while (request.find("\r\n\r\n") == std::string::npos)
    {
        const int size = receive(part.data(), static_cast<int>(part.size()));
        if (size <= 0 || request.size() > LongestRequest)
        {
            return;
        }
        request.append(part.data(), static_cast<std::size_t>(size));
    }
    constexpr int None = -1;
    if (latch.Await(None, static_cast<int>(answer.wait.count())))
    {
        (void)(send(HeadOf(answer)) && send(std::string(answer.size, 'x')));
    }
}

void ServePlain(int connection, const HttpAnswer& answer, const Latch& latch)
{
    Exchange(
        [&](char* bytes, int size)
        { return static_cast<int>(::recv(connection, bytes, static_cast<std::size_t>(size), 0)); },
        [&](const std::string& bytes)
        { return ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size()); },
        answer, latch);
}

void ServeTls(int connection, SSL_CTX* context, const HttpAnswer& answer, const Latch& latch)
{
    const std::unique_ptr<SSL, decltype(&::SSL_free)> session(::SSL_new(context), &::SSL_free);
    if (session == nullptr || ::SSL_set_fd(session.get(), connection) != 1 || ::SSL_accept(session.get()) != 1)
    {
        return;
    }
    Exchange(
        [&](char* bytes, int size) { return ::SSL_read(session.get(), bytes, size); },
        [&](const std::string& bytes)
        { return bytes.empty() || ::SSL_write(session.get(), bytes.data(), static_cast<int>(bytes.size())) > 0; },
        answer, latch);
    (void)::SSL_shutdown(session.get());
}

/// The name that a question asks for, in small letters, and where the question ends; nothing for what is no such question.
std::pair<std::string, std::size_t> ReadQuestion(std::string_view query)
{
    constexpr std::size_t Header = 12;
    constexpr std::size_t TypeAndClass = 4;
    std::string name;
    std::size_t at = Header;
    while (at < query.size() && query[at] != 0)
    {
        const std::size_t length = static_cast<unsigned char>(query[at]);
        if (length > 63 || at + 1 + length >= query.size())
        {
            return {};
        }
        name.append(name.empty() ? "" : ".").append(query.substr(at + 1, length));
        at += 1 + length;
    }
    at += 1 + TypeAndClass;
    std::transform(
        name.begin(), name.end(), name.begin(),
        [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return at <= query.size() ? std::pair(name, at) : std::pair(std::string(), std::size_t{0});
}

std::string Answer(std::string_view query, const std::map<std::string, std::string>& addresses)
{
    const auto [name, end] = ReadQuestion(query);
    if (end == 0)
    {
        return {};
    }
    const auto found = addresses.find(name);
    const bool isForAddress = query[end - 3] == 1;
    const bool hasAnswer = found != addresses.end() && isForAddress;
    std::string answer(query.substr(0, 2));
    // A response of an authority that offers recursion; code 3 is "no such name".
    answer += '\x85';
    answer += found == addresses.end() ? '\x83' : '\x80';
    answer.append({0, 1, 0, hasAnswer ? '\1' : '\0', 0, 0, 0, 0});
    answer.append(query.substr(12, end - 12));
    if (hasAnswer)
    {
        // The name of the question, type A, class IN, no time to live, four bytes.
        answer.append({'\xC0', 12, 0, 1, 0, 1, 0, 0, 0, 0, 0, 4});
        in_addr address = {};
        ::inet_pton(AF_INET, found->second.c_str(), &address);
        answer.append(reinterpret_cast<const char*>(&address), sizeof address);
    }
    return answer;
}

} // namespace

class TcpListener::Body : public StreamServer
{
public:
    explicit Body(std::uint16_t port) : StreamServer(port, [](int, const Latch&) {})
    {
    }
};

TcpListener::TcpListener(std::uint16_t port) : m_body(std::make_unique<Body>(port))
{
}

TcpListener::~TcpListener() = default;

std::uint16_t TcpListener::GetPort() const noexcept
{
    return m_body->GetPort();
}

class HttpServer::Body
{
public:
    Body(std::uint16_t port, Kind kind, const HttpAnswer& answer)
        : m_context(kind == Kind::Tls ? MakeContext() : TlsContext(nullptr, &::SSL_CTX_free)),
          m_server(
              port,
              [this, answer](int connection, const Latch& latch)
              {
                  if (m_context != nullptr)
                  {
                      ServeTls(connection, m_context.get(), answer, latch);
                      return;
                  }
                  ServePlain(connection, answer, latch);
              })
    {
    }

    std::uint16_t GetPort() const noexcept
    {
        return m_server.GetPort();
    }

private:
    TlsContext m_context;
    StreamServer m_server;
};

HttpServer::HttpServer(std::uint16_t port, Kind kind, const HttpAnswer& answer)
    : m_body(std::make_unique<Body>(port, kind, answer))
{
}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::GetPort() const noexcept
{
    return m_body->GetPort();
}

class DnsServer::Body
{
public:
    Body(std::map<std::string, std::string> addresses, std::chrono::milliseconds wait)
        : m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket"),
          m_addresses(std::move(addresses)),
          m_wait(wait)
    {
        constexpr std::uint16_t Domain = 53;
        (void)Bind(m_socket.Get(), Domain);
        m_thread = std::thread([this] { Serve(); });
    }

    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;

    ~Body()
    {
        m_latch.Set();
        m_thread.join();
    }

private:
    void Serve() const
    {
        constexpr int Forever = -1;
        constexpr int None = -1;
        std::array<char, 1024> query = {};
        while (m_latch.Await(m_socket.Get(), Forever))
        {
            sockaddr_in peer = {};
            socklen_t length = sizeof peer;
            auto* const general = reinterpret_cast<sockaddr*>(&peer);
            const ssize_t size = ::recvfrom(m_socket.Get(), query.data(), query.size(), 0, general, &length);
            const std::string answer =
                size > 0 ? Answer({query.data(), static_cast<std::size_t>(size)}, m_addresses) : std::string();
            if (!answer.empty() && m_latch.Await(None, static_cast<int>(m_wait.count())))
            {
                (void)!::sendto(m_socket.Get(), answer.data(), answer.size(), 0, general, length);
            }
        }
    }

    Latch m_latch;
    Descriptor m_socket;
    std::map<std::string, std::string> m_addresses;
    std::chrono::milliseconds m_wait;
    std::thread m_thread;
};

DnsServer::DnsServer(std::map<std::string, std::string> addresses, std::chrono::milliseconds wait)
    : m_body(std::make_unique<Body>(std::move(addresses), wait))
{
}

DnsServer::~DnsServer() = default;

} // namespace TestSupport
