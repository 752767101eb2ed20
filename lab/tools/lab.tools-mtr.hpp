#pragma once

#include "lab.tools-path.hpp"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Lab::Tools
{

struct MtrArguments
{
    std::uint32_t cycles = 10;
    std::chrono::nanoseconds interval = std::chrono::seconds(1);
    /// What takes longer is lost.
    std::chrono::nanoseconds timeout = std::chrono::seconds(10);
    /// Hops are shown by their addresses beside their names.
    bool showsAddresses = false;
    /// No hop is shown as further away than the target is: a router that takes its time to answer is not a slow way.
    bool clampsRoundTrips = false;
    /// The last hop is the target, even when it never answered: then all of its probes are lost.
    bool verifiesEnd = false;
    std::string target;
};

/// Reads `--json --timeout SECONDS -c CYCLES -q NUMBER --interval SECONDS --show-ips --rtt-clamping --end-verification -4
/// TARGET`, in any order but with the target last. The number of -q, which keeps runs at the same time apart, is checked and
/// not used, as they are apart by their processes. Throws std::invalid_argument with a sentence for people.
MtrArguments ParseMtrArguments(const std::vector<std::string>& arguments);

/// The output of Debian's program is not what it was when this was written. what() says why.
class MtrOutputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads the JSON that Debian's program prints, of any content and length. What a member that is not there, or that is of
/// another type, would have said is left at its default; a report without a list of hops, or with more than 255 of them,
/// gives MtrOutputError, and so does what is no JSON.
Path ReadMtrOutput(std::string_view output);

/// Does to a path what the arguments ask for, and notes it in its options. The path knows its target's address.
void ApplyOptions(const MtrArguments& arguments, Path& path);

/// Measures the way to an address in numbers: on Linux by Debian's program, on Windows by ICMP echoes of its own. Throws
/// std::exception with a sentence for people.
Path MeasurePath(const MtrArguments& arguments, const std::string& address);

/// The whole life of the tool, as that of bmtr.
int RunMtr(const std::vector<std::string>& arguments);

} // namespace Lab::Tools
