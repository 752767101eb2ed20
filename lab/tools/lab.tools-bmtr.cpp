#include "lab.tools-bmtr.hpp"

#include "lab.tools-address.hpp"
#include "lab.tools-console.hpp"
#include "lab.tools-numbers.hpp"
#include "lab.tools-prober.hpp"

#include <algorithm>
#include <array>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

namespace Lab::Tools
{

namespace
{

template <typename Meaning>
struct Letter
{
    std::string_view text;
    Meaning meaning;
};

constexpr std::array<Letter<ProbeKind>, 3> Kinds = {
    {{"s", ProbeKind::ConnectionRequest}, {"u", ProbeKind::Datagram}, {"e", ProbeKind::Echo}}};
/// How hops are named: by their addresses.
constexpr std::array<Letter<bool>, 1> Names = {{{"i", true}}};
/// Whether the probes of a cycle are spread.
constexpr std::array<Letter<bool>, 2> Spreads = {{{"n", true}, {"f", false}}};

template <typename Meaning, std::size_t Count>
Meaning Choose(std::string_view name, const std::array<Letter<Meaning>, Count>& letters, std::string_view text)
{
    const auto* const found = std::find_if(
        letters.begin(), letters.end(), [&](const Letter<Meaning>& letter) { return letter.text == text; });
    if (found == letters.end())
    {
        std::string known;
        for (const Letter<Meaning>& letter : letters)
        {
            known.append(known.empty() ? "" : ", ").append(letter.text);
        }
        throw std::invalid_argument(fmt::format("the letter for {} is one of: {}", name, known));
    }
    return found->meaning;
}

std::string NameOf(ProbeKind kind)
{
    switch (kind)
    {
    case ProbeKind::Echo:
        return "icmp";
    case ProbeKind::Datagram:
        return "udp";
    case ProbeKind::ConnectionRequest:
        break;
    }
    return "tcp";
}

} // namespace

BmtrArguments ParseBmtrArguments(const std::vector<std::string>& arguments)
{
    constexpr std::size_t Count = 8;
    if (arguments.size() != Count)
    {
        throw std::invalid_argument("usage: bmtr s|u|e i n|f CYCLES INTERVAL TIMEOUT TARGET PORT");
    }
    BmtrArguments result;
    result.kind = Choose("probes", Kinds, arguments[0]);
    (void)Choose("names", Names, arguments[1]);
    result.settings.isSpread = Choose("times", Spreads, arguments[2]);
    result.settings.cycles = ParseWhole("the number of cycles", arguments[3], 1, MostCycles);
    result.settings.interval = ParseSeconds("the interval", arguments[4]);
    result.settings.timeout = ParseSeconds("the time-out", arguments[5]);
    result.target = ParseTarget(arguments[6]);
    constexpr std::uint32_t MostPort = std::numeric_limits<std::uint16_t>::max();
    result.port = static_cast<std::uint16_t>(ParseWhole("the port", arguments[7], 1, MostPort));
    return result;
}

Path MakePath(
    const std::string& target,
    const std::string& address,
    ProbeKind kind,
    const TraceSettings& settings,
    const Trace& trace)
{
    Path path;
    path.source = OwnHostName();
    path.target = target;
    path.targetAddress = address;
    path.probeSize = static_cast<std::uint32_t>(ProbeSize(kind));
    path.cycles = settings.cycles;
    path.options = {NameOf(kind)};
    path.hops = trace.hops;
    if (trace.initialRoundTrip && ReachesTarget(path))
    {
        path.initialRoundTrip =
            fmt::format("{:.3f}", std::chrono::duration<double, std::milli>(*trace.initialRoundTrip).count());
    }
    return path;
}

int RunBmtr(const std::vector<std::string>& arguments)
{
    try
    {
        const BmtrArguments read = ParseBmtrArguments(arguments);
        const BreakSignal signal;
        const std::string address = ResolveAddress(read.target);
        const std::unique_ptr<Prober> prober = MakeProber(read.kind, address, read.port, signal);
        const Trace trace = TracePath(*prober, read.settings);
        const Path path = MakePath(read.target, address, SentKind(read.kind), read.settings, trace);
        WriteOutput(ToJson(path) + '\n');
        return PathExit::Measured;
    }
    catch (const std::exception& problem)
    {
        std::cerr << "bmtr: " << problem.what() << '\n';
        return PathExit::NoMeasurement;
    }
}

} // namespace Lab::Tools
