#pragma once

#include "lab.tools-connecttimer.hpp"
#include "lab.tools-statistics.hpp"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace Lab::Tools
{

/// How tcping ends. Whoever reads it takes 0 to 2 as a measurement, and all above as none.
namespace TcpingExit
{
/// Every probe found the port open.
inline constexpr int AllOpen = 0;
/// At least one did not.
inline constexpr int SomeFailed = 1;
/// The break signal came before any probe had an outcome.
inline constexpr int NothingMeasured = 2;
/// The command line is wrong, the target has no address, or the system gives no sockets.
inline constexpr int NoMeasurement = 3;
} // namespace TcpingExit

struct TcpingArguments
{
    std::string target;
    std::uint16_t port = 80;
    std::uint32_t count = 4;
    /// From the beginning of a probe to that of the next one; a probe that takes longer delays it.
    std::chrono::nanoseconds interval = std::chrono::seconds(1);
    std::chrono::nanoseconds timeout = std::chrono::seconds(2);
    /// Whether the summary tells by how much the times differ from one to the next.
    bool showsJitter = false;
};

/// Reads `-n COUNT -i SECONDS -w SECONDS -j -p PORT TARGET`; each option may be left out, and the target stands last. Throws
/// std::invalid_argument with a sentence for people.
TcpingArguments ParseTcpingArguments(const std::vector<std::string>& arguments);

/// What tcping has found out, and the texts in which it says so. All its lines end with CR LF, on every platform.
class TcpingReport
{
public:
    /// @param address of the target, in numbers. The lines of probes show it in place of the name: they say "open" of a port
    /// that is, and a name might have that word in it.
    TcpingReport(std::string target, std::string address, std::uint16_t port);

    /// Counts a probe, and gives its line. One that was broken off counts as none, and has no line.
    std::string Add(const ConnectResult& result);

    std::string Summary(bool showsJitter) const;

    int ExitCode() const noexcept;

private:
    std::string m_target;
    std::string m_address;
    std::uint16_t m_port;
    std::uint32_t m_sent = 0;
    Statistics m_times;
    Statistics m_jitter;
};

/// The whole life of the tool: a line for each probe, at once, on standard output; the summary when all are done or at the
/// break signal; what is wrong on standard error.
/// @param arguments without the program's name.
/// @return its exit code.
int RunTcping(const std::vector<std::string>& arguments);

} // namespace Lab::Tools
