#include "lab.tools-curl.hpp"

#include "lab.net-socket.hpp"
#include "lab.tools-address.hpp"
#include "lab.tools-console.hpp"
#include "lab.tools-httpanswer.hpp"
#include "lab.tools-numbers.hpp"
#include "lab.tools-probepackets.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <limits>
#include <stdexcept>

#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Lab::Tools
{

namespace
{

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr std::uint32_t MostPort = std::numeric_limits<std::uint16_t>::max();

std::uint16_t ParsePort(std::string_view text)
{
    return static_cast<std::uint16_t>(ParseWhole("the port", text, 1, MostPort));
}

/// The port 0 is that of a URL without one.
ResolvedHost ParseResolved(std::string_view text)
{
    const std::size_t first = text.find(':');
    const std::size_t second = first == std::string_view::npos ? first : text.find(':', first + 1);
    if (second == std::string_view::npos)
    {
        throw std::invalid_argument("--resolve is HOST:PORT:ADDRESS");
    }
    const std::string address(text.substr(second + 1));
    (void)ParseAddress(address);
    const std::string_view port = text.substr(first + 1, second - first - 1);
    return {
        std::string(text.substr(0, first)), static_cast<std::uint16_t>(ParseWhole("the port", port, 0, MostPort)),
        address};
}

std::string ParseHeader(std::string_view text)
{
    const bool isOneLine = std::all_of(
        text.begin(), text.end(),
        [](char character) { return character == '\t' || (character >= ' ' && character != 127); });
    if (text.find(':') == std::string_view::npos || !isOneLine)
    {
        throw std::invalid_argument("--header is NAME: TEXT in one line");
    }
    return std::string(text);
}

struct Option
{
    std::string_view name;
    void (*set)(CurlArguments& arguments, std::string_view name, std::string_view text);
};

constexpr std::array<Option, 6> Options = {
    {{"-w",
      [](CurlArguments&, std::string_view, std::string_view text)
      {
          if (text != "%{json}")
          {
              throw std::invalid_argument("-w is %{json}");
          }
      }},
     {"--resolve",
      [](CurlArguments& arguments, std::string_view, std::string_view text)
      {
          arguments.resolved.push_back(ParseResolved(text));
      }},
     {"--max-time",
      [](CurlArguments& arguments, std::string_view name, std::string_view text)
      {
          arguments.limit = ParseSeconds(name, text);
      }},
     {"--proto-default",
      [](CurlArguments& arguments, std::string_view, std::string_view text)
      {
          arguments.scheme = text;
      }},
     // The body is kept nowhere.
     {"-o",
      [](CurlArguments&, std::string_view, std::string_view) {
      }},
     {"--header",
      [](CurlArguments& arguments, std::string_view, std::string_view text)
      {
          arguments.headers.push_back(ParseHeader(text));
      }}}};

/// What is so in any case.
constexpr std::array<std::string_view, 4> Flags = {"-k", "-s", "-4", "--ssl-revoke-best-effort"};

/// Why there is no answer.
class Failure : public std::runtime_error
{
public:
    Failure(int exitCode, const std::string& text) : std::runtime_error(text), m_exitCode(exitCode)
    {
    }

    int GetExitCode() const noexcept
    {
        return m_exitCode;
    }

private:
    int m_exitCode;
};

/// Calls `act` with the milliseconds that are left, and tells its failures as those of this tool.
template <typename Act>
auto Within(nanoseconds end, int exitCode, const Act& act)
{
    const auto left = std::chrono::ceil<milliseconds>(end - Shared::Time::RealMonotonicNow());
    if (left.count() <= 0)
    {
        throw Failure(CurlExit::TimedOut, "the time is over");
    }
    try
    {
        return act(left);
    }
    catch (const Net::SocketError& problem)
    {
        const bool isLate = problem.GetFailure() == Net::Failure::TimedOut;
        throw Failure(isLate ? CurlExit::TimedOut : exitCode, problem.what());
    }
}

/// Of HTTP/1.0, so that the answer is not told in parts of its own and ends with the connection at the latest.
std::string MakeRequest(const CurlArguments& arguments, const WebTarget& target)
{
    std::string request = fmt::format(
        "GET {} HTTP/1.0\r\nHost: {}:{}\r\nUser-Agent: vellab\r\nAccept: */*\r\n", target.path, target.host,
        target.port);
    for (const std::string& header : arguments.headers)
    {
        request.append(header).append("\r\n");
    }
    return request + "\r\n";
}

std::string FindAddress(const CurlArguments& arguments, const WebTarget& target)
{
    const auto found = std::find_if(
        arguments.resolved.begin(), arguments.resolved.end(),
        [&](const ResolvedHost& one)
        { return one.port == target.port && Shared::Util::EqualsIgnoreCase(one.host, target.host); });
    if (found != arguments.resolved.end())
    {
        return found->address;
    }
    try
    {
        return ResolveAddress(target.host);
    }
    catch (const std::runtime_error& problem)
    {
        throw Failure(CurlExit::NoAddress, problem.what());
    }
}

/// One request, step by step; the report always tells how far it came.
class Transfer
{
public:
    Transfer(const CurlArguments& arguments, CurlReport& report)
        : e_arguments(arguments), e_report(report), m_end(m_begin + arguments.limit)
    {
    }

    void Go()
    {
        const WebTarget target = ReadTarget();
        e_report.remoteAddress = FindAddress(e_arguments, target);
        e_report.remotePort = target.port;
        e_report.nameLookup = Elapsed();
        const auto socket = Within(
            m_end, CurlExit::NotConnected,
            [&](milliseconds left) {
                return Net::Socket::Connect({e_report.remoteAddress, target.port}, left);
            });
        e_report.connect = Elapsed();
        e_report.preTransfer = e_report.connect;
        const std::string request = MakeRequest(e_arguments, target);
        Within(m_end, CurlExit::NotSent, [&](milliseconds left) { socket->Send(request, left); });
        Receive(*socket);
    }

    nanoseconds Elapsed() const
    {
        return Shared::Time::RealMonotonicNow() - m_begin;
    }

private:
    WebTarget ReadTarget() const
    {
        WebTarget target;
        try
        {
            target = ParseUrl(e_arguments.url, e_arguments.scheme);
        }
        catch (const std::invalid_argument& problem)
        {
            throw Failure(CurlExit::WrongUrl, problem.what());
        }
        e_report.scheme = target.scheme;
        if (target.scheme != "http")
        {
            throw Failure(
                CurlExit::NoSuchProtocol,
                fmt::format("the laboratory's curl speaks nothing but HTTP, and not {}", target.scheme));
        }
        return target;
    }

    void Receive(Net::Socket& socket)
    {
        constexpr std::size_t Part = 65'536;
        HttpAnswerReader reader;
        while (!reader.IsComplete())
        {
            const std::string bytes =
                Within(m_end, CurlExit::NotReceived, [&](milliseconds left) { return socket.Receive(Part, left); });
            if (bytes.empty())
            {
                RequireWhole(reader);
                return;
            }
            if (e_report.startTransfer.count() == 0)
            {
                e_report.startTransfer = Elapsed();
            }
            Read(reader, bytes);
        }
    }

    void Read(HttpAnswerReader& reader, const std::string& bytes)
    {
        try
        {
            reader.Add(bytes);
        }
        catch (const HttpAnswerError& problem)
        {
            throw Failure(CurlExit::WeirdAnswer, problem.what());
        }
        e_report.status = reader.GetStatus();
        e_report.bodySize = reader.GetBodySize();
    }

    static void RequireWhole(const HttpAnswerReader& reader)
    {
        if (!reader.HasHead())
        {
            throw Failure(CurlExit::NoAnswer, "the connection ended without an answer");
        }
        if (reader.IsCutOff())
        {
            throw Failure(CurlExit::CutOff, "the connection ended before the answer did");
        }
    }

    const CurlArguments& e_arguments;
    CurlReport& e_report;
    nanoseconds m_begin = Shared::Time::RealMonotonicNow();
    nanoseconds m_end;
};

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void WriteTime(Writer& writer, const char* name, nanoseconds time)
{
    constexpr double Steps = 1e6;
    writer.Key(name);
    writer.Double(std::round(std::chrono::duration<double>(time).count() * Steps) / Steps);
}

void WriteCount(Writer& writer, const char* name, std::uint64_t count)
{
    writer.Key(name);
    writer.Uint64(count);
}

std::uint64_t Speed(const CurlReport& report) noexcept
{
    const double seconds = std::chrono::duration<double>(report.total).count();
    return seconds > 0.0 ? static_cast<std::uint64_t>(static_cast<double>(report.bodySize) / seconds) : 0;
}

} // namespace

CurlArguments ParseCurlArguments(const std::vector<std::string>& arguments)
{
    CurlArguments result;
    bool tellsJson = false;
    std::size_t i = 0;
    for (; i < arguments.size() && arguments[i].starts_with('-'); ++i)
    {
        if (std::find(Flags.begin(), Flags.end(), arguments[i]) != Flags.end())
        {
            continue;
        }
        const auto* const option =
            std::find_if(Options.begin(), Options.end(), [&](const Option& one) { return one.name == arguments[i]; });
        if (option == Options.end() || i + 1 == arguments.size())
        {
            throw std::invalid_argument("the laboratory's curl has no such option");
        }
        tellsJson = tellsJson || option->name == "-w";
        option->set(result, option->name, arguments[++i]);
    }
    if (i + 1 != arguments.size() || !tellsJson)
    {
        throw std::invalid_argument("usage: curl -w %{json} [options] URL");
    }
    result.url = arguments[i];
    return result;
}

WebTarget ParseUrl(std::string_view url, const std::string& defaultScheme)
{
    constexpr std::string_view SchemeEnd = "://";
    constexpr std::uint16_t HttpPort = 80;
    const auto isVisible = [](char character)
    {
        return character > ' ' && character <= '~';
    };
    if (!std::all_of(url.begin(), url.end(), isVisible))
    {
        throw std::invalid_argument("a URL has nothing but visible characters");
    }
    WebTarget target;
    target.scheme = defaultScheme;
    if (const std::size_t end = url.find(SchemeEnd); end != std::string_view::npos && end != 0 && url.find('/') > end)
    {
        target.scheme = url.substr(0, end);
        url.remove_prefix(end + SchemeEnd.size());
    }
    const std::size_t hostEnd = std::min(url.find_first_of("/?#"), url.size());
    const std::string_view authority = url.substr(0, hostEnd);
    const std::size_t colon = std::min(authority.find(':'), authority.size());
    target.host = ParseTarget(authority.substr(0, colon));
    target.port = colon == authority.size() ? HttpPort : ParsePort(authority.substr(colon + 1));
    std::string_view path = url.substr(hostEnd);
    path = path.substr(0, path.find('#'));
    target.path = path.starts_with('/') ? std::string(path) : fmt::format("/{}", path);
    return target;
}

CurlReport Fetch(const CurlArguments& arguments)
{
    CurlReport report;
    Transfer transfer(arguments, report);
    try
    {
        transfer.Go();
    }
    catch (const Failure& failure)
    {
        report.exitCode = failure.GetExitCode();
        report.error = failure.what();
    }
    report.total = transfer.Elapsed();
    return report;
}

std::string ToJson(const CurlReport& report)
{
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key("errormsg");
    if (report.error.empty())
    {
        writer.Null();
    }
    else
    {
        writer.String(report.error);
    }
    WriteCount(writer, "exitcode", static_cast<std::uint64_t>(report.exitCode));
    WriteCount(writer, "http_code", report.status);
    writer.Key("remote_ip");
    writer.String(report.connect.count() == 0 ? std::string() : report.remoteAddress);
    WriteCount(writer, "remote_port", report.connect.count() == 0 ? 0 : report.remotePort);
    writer.Key("scheme");
    writer.String(report.scheme);
    WriteCount(writer, "size_download", report.bodySize);
    WriteCount(writer, "speed_download", Speed(report));
    WriteTime(writer, "time_appconnect", nanoseconds(0));
    WriteTime(writer, "time_connect", report.connect);
    WriteTime(writer, "time_namelookup", report.nameLookup);
    WriteTime(writer, "time_pretransfer", report.preTransfer);
    WriteTime(writer, "time_starttransfer", report.startTransfer);
    WriteTime(writer, "time_total", report.total);
    writer.Key("curl_version");
    writer.String("the laboratory's");
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

int RunCurl(const std::vector<std::string>& arguments)
{
    try
    {
        const CurlReport report = Fetch(ParseCurlArguments(arguments));
        WriteOutput(ToJson(report));
        return report.exitCode;
    }
    catch (const std::exception& problem)
    {
        std::cerr << "curl: " << problem.what() << '\n';
        return CurlExit::WrongCall;
    }
}

} // namespace Lab::Tools
