#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <test_results.pb.h>

/// What the path test tools print: JSON with the names of the message's fields. What the message has no field for is passed
/// over. Pure functions; numbers that the message has in 32 bits are cut to these.
namespace AgentCore::Tests
{

/// What the runner itself says of its test. It takes the place of what the tool may say.
struct PathTestFacts
{
    /// Seconds since 1970.
    std::int64_t startTime = 0;
    std::string networkObjectUuid;
    std::string mtrConfigUuid;
    std::uint32_t index = 0;
    ServerType serverType = UNKNOWN;
};

/// For the tool mtr. Throws the runtime exceptions "rapidJSON encountered a parse error on string ==> " followed by the
/// text, "rapidJSON encountered a parse error adding member: " and the name when that is no object, and "Failed to JSON
/// serialise an MTR result", which the reason precedes in the log.
MtrTestResult ReadMtrReport(std::string_view output, const PathTestFacts& facts);

/// For the tool bmtr. Throws the runtime exception "Failed to JSON serialise an MTR result", likewise.
MtrTestResult ReadBmtrReport(std::string_view output, const PathTestFacts& facts);

} // namespace AgentCore::Tests
