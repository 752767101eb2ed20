#include "lab.tools-curl.hpp"

#include "lab.json-functions.hpp"
#include "lab.net-socket.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

namespace CurlExit = Lab::Tools::CurlExit;
using Lab::Net::Listener;
using Lab::Net::Socket;
using Lab::Tools::CurlArguments;
using Lab::Tools::CurlReport;
using Lab::Tools::Fetch;
using Lab::Tools::ParseCurlArguments;
using Lab::Tools::ParseUrl;
using Lab::Tools::WebTarget;
using namespace std::chrono_literals;

constexpr auto Limit = 10'000ms * VEL_TIME_SCALE;

/// As the agent calls it.
const std::vector<std::string> AgentsCall = {
    "-w",
    "%{json}",
    "-k",
    "--resolve",
    "host.example:80:192.0.2.1",
    "--max-time",
    "15",
    "--proto-default",
    "http",
    "--ssl-revoke-best-effort",
    "-s",
    "-o",
    "NUL",
    "-4",
    "--header",
    "A: b",
    "--header",
    "C: d",
    "host.example/a:8080"};

TEST(CurlArgumentsTest, TheAgentsCallIsRead)
{
    const CurlArguments read = ParseCurlArguments(AgentsCall);
    ASSERT_EQ(read.resolved.size(), 1U);
    EXPECT_EQ(read.resolved[0].host, "host.example");
    EXPECT_EQ(read.resolved[0].port, 80);
    EXPECT_EQ(read.resolved[0].address, "192.0.2.1");
    EXPECT_EQ(read.limit, 15s);
    EXPECT_EQ(read.scheme, "http");
    EXPECT_EQ(read.headers, (std::vector<std::string>{"A: b", "C: d"}));
    EXPECT_EQ(read.url, "host.example/a:8080");
}

TEST(CurlArgumentsTest, WhatIsNoSuchCallIsRefused)
{
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"h"},
        {"-w", "%{json}"},
        {"-w", "%{http_code}", "h"},
        {"-w", "%{json}", "--upload", "x", "h"},
        {"-w", "%{json}", "h", "i"},
        {"-w", "%{json}", "--resolve", "h:80", "h"},
        {"-w", "%{json}", "--resolve", "h:80:name", "h"},
        {"-w", "%{json}", "--max-time", "0", "h"},
        {"-w", "%{json}", "--header", "no colon", "h"},
        {"-w", "%{json}", "--header", "A: b\r\nC: d", "h"}};
    for (const auto& arguments : wrong)
    {
        EXPECT_THROW((void)ParseCurlArguments(arguments), std::invalid_argument) << ::testing::PrintToString(arguments);
    }
}

TEST(CurlUrlTest, AUrlIsTakenApart)
{
    EXPECT_EQ(ParseUrl("h", "http"), (WebTarget{"http", "h", 80, "/"}));
    EXPECT_EQ(ParseUrl("h:8080/a?b#c", "http"), (WebTarget{"http", "h", 8080, "/a?b"}));
    EXPECT_EQ(ParseUrl("h?b", "http"), (WebTarget{"http", "h", 80, "/?b"}));
    EXPECT_EQ(ParseUrl("http://192.0.2.1/a", "ftp"), (WebTarget{"http", "192.0.2.1", 80, "/a"}));
    EXPECT_EQ(ParseUrl("h/a://b", "http"), (WebTarget{"http", "h", 80, "/a://b"}));
}

TEST(CurlUrlTest, APortBehindThePathIsPartOfThePath)
{
    EXPECT_EQ(ParseUrl("h/a:8080", "http"), (WebTarget{"http", "h", 80, "/a:8080"}));
}

TEST(CurlUrlTest, WhatIsNoUrlIsRefused)
{
    for (const char* const url : {"", "/", "h i", "h:", "h:x", "h:0", "h:65536", "://h", "h\r\n", "-h", "h\xC3\xA9"})
    {
        EXPECT_THROW((void)ParseUrl(url, "http"), std::invalid_argument) << url;
    }
}

/// A server that gives one connection to a function.
class Server
{
public:
    explicit Server(std::function<void(Socket&)> serve)
        : m_thread(
              [this, serve = std::move(serve)]
              {
                  try
                  {
                      if (const std::shared_ptr<Socket> connection = m_listener.Accept(Limit))
                      {
                          serve(*connection);
                      }
                  }
                  catch (const Lab::Net::SocketError&)
                  {
                      // The other side has had enough.
                  }
              })
    {
    }

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    ~Server()
    {
        m_thread.join();
    }

    CurlArguments Request() const
    {
        CurlArguments arguments;
        const std::string port = std::to_string(m_listener.GetPort());
        arguments.resolved = {{"Host.example", m_listener.GetPort(), "127.0.0.1"}};
        arguments.url = "host.example:" + port + "/status";
        return arguments;
    }

private:
    Listener m_listener;
    std::thread m_thread;
};

/// The request's head, whose end it awaits.
std::string ReadRequest(Socket& connection)
{
    std::string request;
    while (request.find("\r\n\r\n") == std::string::npos)
    {
        const std::string part = connection.Receive(1000, Limit);
        if (part.empty())
        {
            break;
        }
        request += part;
    }
    return request;
}

TEST(CurlTest, AnAnswerIsTold)
{
    std::string request;
    CurlReport report;
    {
        const Server server(
            [&](Socket& connection)
            {
                request = ReadRequest(connection);
                connection.Pause(30ms);
                connection.Send("HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nab", Limit);
                connection.Pause(20ms);
                connection.Send("cd", Limit);
            });
        CurlArguments arguments = server.Request();
        arguments.headers = {"X-Test: yes"};
        report = Fetch(arguments);
    }
    EXPECT_TRUE(request.starts_with("GET /status HTTP/1.0\r\nHost: host.example:")) << request;
    EXPECT_NE(request.find("\r\nX-Test: yes\r\n\r\n"), std::string::npos) << request;
    EXPECT_EQ(report.exitCode, CurlExit::Done) << report.error;
    EXPECT_EQ(report.status, 404U);
    EXPECT_EQ(report.bodySize, 4U);
    EXPECT_EQ(report.remoteAddress, "127.0.0.1");
    EXPECT_LE(report.nameLookup, report.connect);
    EXPECT_LE(report.connect, report.preTransfer);
    EXPECT_GE(report.startTransfer - report.preTransfer, 30ms);
    EXPECT_GE(report.total - report.startTransfer, 20ms);
}

TEST(CurlTest, TheReportHasTheNamesThatTheAgentReads)
{
    CurlReport report;
    report.remoteAddress = "192.0.2.1";
    report.status = 200;
    report.bodySize = 1000;
    report.nameLookup = 1ms;
    report.connect = 2ms;
    report.preTransfer = 3ms;
    report.startTransfer = 4ms;
    report.total = 500ms;
    const rapidjson::Document json = Lab::Json::Parse(ToJson(report));
    EXPECT_TRUE(json["errormsg"].IsNull());
    EXPECT_EQ(json["exitcode"].GetInt(), 0);
    EXPECT_EQ(json["http_code"].GetInt(), 200);
    EXPECT_STREQ(json["remote_ip"].GetString(), "192.0.2.1");
    EXPECT_EQ(json["size_download"].GetInt(), 1000);
    EXPECT_EQ(json["speed_download"].GetInt(), 2000);
    EXPECT_EQ(json["time_namelookup"].GetDouble(), 0.001);
    EXPECT_EQ(json["time_connect"].GetDouble(), 0.002);
    EXPECT_EQ(json["time_appconnect"].GetDouble(), 0.0);
    EXPECT_EQ(json["time_pretransfer"].GetDouble(), 0.003);
    EXPECT_EQ(json["time_starttransfer"].GetDouble(), 0.004);
    EXPECT_EQ(json["time_total"].GetDouble(), 0.5);
}

/// How it ends with a server that answers so.
int ExitCodeWith(const std::function<void(Socket&)>& serve, std::chrono::nanoseconds limit = Limit)
{
    const Server server(serve);
    CurlArguments arguments = server.Request();
    arguments.limit = limit;
    return Fetch(arguments).exitCode;
}

TEST(CurlTest, EachFailureHasItsCode)
{
    const auto answering = [](const char* text)
    {
        return [text](Socket& connection)
        {
            (void)ReadRequest(connection);
            connection.Send(text, Limit);
        };
    };
    EXPECT_EQ(ExitCodeWith(answering("")), CurlExit::NoAnswer);
    EXPECT_EQ(ExitCodeWith(answering("220 mail.example ready\r\n\r\n")), CurlExit::WeirdAnswer);
    EXPECT_EQ(ExitCodeWith(answering("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nab")), CurlExit::CutOff);
    EXPECT_EQ(ExitCodeWith(answering("HTTP/1.1 200 OK\r\n\r\nab")), CurlExit::Done);
    EXPECT_EQ(
        ExitCodeWith(
            [](Socket& connection)
            {
                // Until the other side has had enough.
                while (!connection.Receive(1000, Limit).empty())
                {
                }
            },
            100ms),
        CurlExit::TimedOut);
}

TEST(CurlTest, WhatCannotBeAskedForIsToldAsCurlTellsIt)
{
    CurlArguments arguments;
    arguments.url = "h i";
    EXPECT_EQ(Fetch(arguments).exitCode, CurlExit::WrongUrl);
    arguments.url = "192.0.2.1/status";
    arguments.scheme = "https";
    const CurlReport secure = Fetch(arguments);
    EXPECT_EQ(secure.exitCode, CurlExit::NoSuchProtocol);
    EXPECT_NE(secure.error.find("https"), std::string::npos);
    EXPECT_EQ(secure.connect.count(), 0);
    std::uint16_t closed = 0;
    {
        closed = Listener().GetPort();
    }
    arguments.scheme = "http";
    arguments.url = "127.0.0.1:" + std::to_string(closed);
    const CurlReport refused = Fetch(arguments);
    EXPECT_EQ(refused.exitCode, CurlExit::NotConnected);
    EXPECT_EQ(Lab::Json::TextMember(Lab::Json::Parse(ToJson(refused)), "remote_ip"), "");
}

} // namespace
