#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <test_results.pb.h>

/// What curl says of one transfer. Pure functions.
namespace AgentCore::Tests
{

/// Curl's own figures; times are seconds from its start.
struct CurlReport
{
    double timeNameLookup = 0.0;
    double timeConnect = 0.0;
    double timeAppConnect = 0.0;
    double timePreTransfer = 0.0;
    double timeStartTransfer = 0.0;
    double timeTotal = 0.0;
    /// Bytes.
    std::uint32_t sizeDownload = 0;
    /// Bytes a second.
    std::uint32_t speedDownload = 0;
    std::uint32_t httpCode = 0;
    std::string remoteIp;
};

/// Reads the JSON object that curl prints. What it does not tell, or tells as another type, is 0 or empty; a count with a
/// fraction loses it, and one that does not fit is the nearest that does. Throws the runtime exception "CurlTestRunner:
/// rapidJSON encountered a parse error on JSON ==> " followed by the text.
CurlReport ReadCurlReport(std::string_view output);

/// The figures as the server wants them.
/// @param apiDnsSeconds the agent's own time for the name, which curl was spared. It counts in time_namelookup and
/// total_time, and in nothing else.
/// @param successCodes "2XX" and "3XX" name the codes of a success; all others mean nothing
/// Phases are never negative, while time_to_first_byte is made of what they are before that, so that a phase that did not
/// take place (no TLS: time_appconnect 0) takes away from it. `throughput`, bits a second, is cut off at its field's
/// largest number.
CurlTranslatedOutput TranslateCurlReport(
    const CurlReport& report, double apiDnsSeconds, const std::vector<std::string>& successCodes);

} // namespace AgentCore::Tests
