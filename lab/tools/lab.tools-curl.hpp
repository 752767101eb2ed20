#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Lab::Tools
{

/// How curl ends, with the numbers of the program whose place it takes.
namespace CurlExit
{
inline constexpr int Done = 0;
/// A protocol that is not spoken here: all but HTTP.
inline constexpr int NoSuchProtocol = 1;
/// The command line is wrong.
inline constexpr int WrongCall = 2;
inline constexpr int WrongUrl = 3;
inline constexpr int NoAddress = 6;
inline constexpr int NotConnected = 7;
inline constexpr int WeirdAnswer = 8;
/// The connection ended before the answer did.
inline constexpr int CutOff = 18;
inline constexpr int TimedOut = 28;
/// The connection ended before there was an answer.
inline constexpr int NoAnswer = 52;
inline constexpr int NotSent = 55;
inline constexpr int NotReceived = 56;
} // namespace CurlExit

/// The address of a host's port, which is then not looked up.
struct ResolvedHost
{
    std::string host;
    std::uint16_t port = 0;
    std::string address;
};

struct CurlArguments
{
    std::vector<ResolvedHost> resolved;
    std::chrono::nanoseconds limit = std::chrono::minutes(5);
    /// Of a URL that names no scheme.
    std::string scheme = "http";
    std::vector<std::string> headers;
    std::string url;
};

/// Reads `-w %{json} [-k] [--resolve HOST:PORT:ADDRESS] [--max-time SECONDS] [--proto-default SCHEME]
/// [--ssl-revoke-best-effort] [-s] [-o FILE] [-4] [--header TEXT]... URL`; the URL stands last. Throws std::invalid_argument
/// with a sentence for people.
CurlArguments ParseCurlArguments(const std::vector<std::string>& arguments);

/// Where a request goes.
struct WebTarget
{
    std::string scheme;
    std::string host;
    std::uint16_t port = 0;
    /// From "/" on.
    std::string path;

    bool operator==(const WebTarget&) const = default;
};

/// Takes "[http://]host[:port][/path]" apart. Throws std::invalid_argument for what is no such text.
WebTarget ParseUrl(std::string_view url, const std::string& defaultScheme);

/// What became of a request. Times are from its beginning on, and 0 for what was not reached.
struct CurlReport
{
    int exitCode = CurlExit::Done;
    /// Empty without a failure.
    std::string error;
    std::string scheme;
    std::string remoteAddress;
    std::uint16_t remotePort = 0;
    std::uint32_t status = 0;
    std::uint64_t bodySize = 0;
    std::chrono::nanoseconds nameLookup{0};
    std::chrono::nanoseconds connect{0};
    std::chrono::nanoseconds preTransfer{0};
    std::chrono::nanoseconds startTransfer{0};
    std::chrono::nanoseconds total{0};
};

/// Asks for the URL. What goes wrong is in the report.
CurlReport Fetch(const CurlArguments& arguments);

/// With the names that curl's own report has.
std::string ToJson(const CurlReport& report);

/// The whole life of the tool. @param arguments without the program's name. @return its exit code.
int RunCurl(const std::vector<std::string>& arguments);

} // namespace Lab::Tools
