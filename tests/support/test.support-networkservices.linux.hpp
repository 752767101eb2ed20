#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace TestSupport
{

/// How an HTTP server answers, whatever it is asked for.
struct HttpAnswer
{
    int status = 200;
    /// From the end of the request until the answer begins.
    std::chrono::milliseconds wait{0};
    /// Bytes of the body.
    std::size_t size = 0;
};

/// Services of a machine. They belong to the network in which they are made, and run in threads of their own until they are
/// destroyed. A port of 0 is a free one. All constructors throw std::system_error.

/// Takes TCP connections and ends them at once.
class TcpListener
{
public:
    explicit TcpListener(std::uint16_t port);
    TcpListener(const TcpListener&) = delete;
    TcpListener& operator=(const TcpListener&) = delete;
    ~TcpListener();

    std::uint16_t GetPort() const noexcept;

private:
    class Body;
    std::unique_ptr<Body> m_body;
};

/// Answers each connection's first request and ends it.
class HttpServer
{
public:
    enum class Kind
    {
        Plain,
        /// With a certificate of its own that nobody vouches for.
        Tls
    };

    HttpServer(std::uint16_t port, Kind kind, const HttpAnswer& answer);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer();

    std::uint16_t GetPort() const noexcept;

private:
    class Body;
    std::unique_ptr<Body> m_body;
};

/// Answers questions for IPv4 addresses, on port 53 of all of the machine's addresses. Names that it does not know do not
/// exist.
class DnsServer
{
public:
    /// @param wait before each answer.
    DnsServer(std::map<std::string, std::string> addresses, std::chrono::milliseconds wait);
    DnsServer(const DnsServer&) = delete;
    DnsServer& operator=(const DnsServer&) = delete;
    ~DnsServer();

private:
    class Body;
    std::unique_ptr<Body> m_body;
};

} // namespace TestSupport
