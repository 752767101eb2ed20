#pragma once

#include <cstdint>
#include <string_view>

#include <test_results.pb.h>

namespace AgentCore::Tests
{

/// Reads what the tool tcping has printed, lines with "\r\n" between them, into `statistics`. What is not printed stays as
/// it is there; what is not known is passed over. Pure; time grows with the text's length alone.
///
/// A successful probe counts as one interval of available time, and so do up to four failed ones in a row before it, or at
/// the end if anything was received; five or more in a row are an outage. Sums wrap at 32 bits.
///
/// Throws the runtime exception "Tcping printed a number that is none: {}", with the first 100 characters of it, for a
/// count that does not begin with a digit, and for numbers beyond 32 bits, or those of a float. `statistics` then has what
/// was read until there.
void ReadTcpingReport(std::string_view output, std::uint32_t intervalSeconds, PingStatistics& statistics);

} // namespace AgentCore::Tests
