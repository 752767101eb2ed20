// Any text as the output of Debian's mtr: it is refused, or read; and what was read is, with all options applied, JSON that
// the agent's message takes.

#include "fuzz.require.hpp"
#include "lab.tools-mtr.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/util/json_util.h>

#include <test_results.pb.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;

void CheckHops(const Lab::Tools::Path& path)
{
    Require(path.hops.size() <= 255);
    for (const Lab::Tools::Hop& hop : path.hops)
    {
        Require(hop.lossPercent >= 0.0 && hop.lossPercent <= 100.0);
        Require(hop.average >= 0.0 && hop.best >= 0.0 && hop.worst >= 0.0);
        Require(hop.sent <= 2'147'483'647U);
    }
}

void CheckMessage(Lab::Tools::Path path)
{
    const std::size_t hops = path.hops.size();
    Lab::Tools::MtrArguments arguments;
    arguments.clampsRoundTrips = true;
    arguments.verifiesEnd = true;
    path.target = "host.example";
    path.targetAddress = "192.0.2.9";
    Lab::Tools::ApplyOptions(arguments, path);
    Require(Lab::Tools::ReachesTarget(path) && path.hops.size() <= hops + 1);
    MtrTestResult message;
    Require(google::protobuf::util::JsonStringToMessage(Lab::Tools::ToJson(path), &message).ok());
    Require(message.report().hubs_size() == static_cast<int>(path.hops.size()));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const google::protobuf::LogSilencer s_silence;
    try
    {
        const Lab::Tools::Path path = Lab::Tools::ReadMtrOutput({reinterpret_cast<const char*>(data), size});
        CheckHops(path);
        CheckMessage(path);
    }
    catch (const Lab::Tools::MtrOutputError& problem)
    {
        Require(!std::string_view(problem.what()).empty());
    }
    return 0;
}
