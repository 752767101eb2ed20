#pragma once

#include "lab.tools-pathtrace.hpp"
#include "lab.tools-probepackets.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace Lab::Tools
{

/// How bmtr and mtr end.
namespace PathExit
{
inline constexpr int Measured = 0;
/// The command line is wrong, the target has no address, or probes cannot be sent.
inline constexpr int NoMeasurement = 1;
} // namespace PathExit

struct BmtrArguments
{
    ProbeKind kind = ProbeKind::ConnectionRequest;
    TraceSettings settings;
    std::string target;
    std::uint16_t port = 80;
};

/// Reads the eight arguments behind the program's name; lab.tools-bmtrmain.cpp tells which. Throws std::invalid_argument
/// with a sentence for people.
BmtrArguments ParseBmtrArguments(const std::vector<std::string>& arguments);

/// The result, out of what was found on the way.
Path MakePath(
    const std::string& target,
    const std::string& address,
    ProbeKind kind,
    const TraceSettings& settings,
    const Trace& trace);

/// The whole life of the tool: the path as JSON on standard output, what is wrong on standard error.
/// @param arguments without the program's name.
/// @return its exit code.
int RunBmtr(const std::vector<std::string>& arguments);

} // namespace Lab::Tools
