#include "lab.tools-mtr.hpp"

#include "lab.json-functions.hpp"
#include "lab.tools-address.hpp"
#include "lab.tools-bmtr.hpp"
#include "lab.tools-console.hpp"
#include "lab.tools-numbers.hpp"
#include "lab.tools-probepackets.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <limits>

namespace Lab::Tools
{

namespace
{

using rapidjson::Value;

constexpr std::size_t MostHopsOfAny = 255;

struct Flag
{
    std::string_view name;
    /// Null for what is always so.
    bool MtrArguments::*member;
};

constexpr std::array<Flag, 5> Flags = {
    {{"--json", nullptr},
     {"-4", nullptr},
     {"--show-ips", &MtrArguments::showsAddresses},
     {"--rtt-clamping", &MtrArguments::clampsRoundTrips},
     {"--end-verification", &MtrArguments::verifiesEnd}}};

struct Option
{
    std::string_view name;
    void (*set)(MtrArguments& arguments, std::string_view name, std::string_view text);
};

constexpr std::array<Option, 4> Options = {
    {{"-c",
      [](MtrArguments& arguments, std::string_view name, std::string_view text)
      {
          arguments.cycles = ParseWhole(name, text, 1, MostCycles);
      }},
     {"-q",
      [](MtrArguments&, std::string_view name, std::string_view text)
      {
          (void)ParseWhole(name, text, 0, std::numeric_limits<std::uint32_t>::max());
      }},
     {"--interval",
      [](MtrArguments& arguments, std::string_view name, std::string_view text)
      {
          arguments.interval = ParseSeconds(name, text);
      }},
     {"--timeout",
      [](MtrArguments& arguments, std::string_view name, std::string_view text)
      {
          arguments.timeout = ParseSeconds(name, text);
      }}}};

bool SetFlag(MtrArguments& arguments, std::string_view text)
{
    const auto* const flag =
        std::find_if(Flags.begin(), Flags.end(), [&](const Flag& one) { return one.name == text; });
    if (flag == Flags.end())
    {
        return false;
    }
    if (flag->member != nullptr)
    {
        arguments.*flag->member = true;
    }
    return true;
}

/// Of a member; 0 for one that is no number, or none that can be one of these figures.
double Figure(const Value& object, std::string_view name)
{
    const Value* const member = Json::FindMember(object, name);
    if (member == nullptr || !member->IsNumber())
    {
        return 0.0;
    }
    const double figure = member->GetDouble();
    return std::isfinite(figure) && figure >= 0.0 ? figure : 0.0;
}

std::uint32_t Count(const Value& object, std::string_view name)
{
    constexpr double Most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::uint32_t>(std::min(Figure(object, name), Most));
}

/// A number that may be written as a text.
std::uint32_t WrittenCount(const Value& object, std::string_view name)
{
    const std::string text = Json::TextMember(object, name);
    std::uint32_t number = 0;
    for (const char digit : text)
    {
        constexpr std::uint32_t Most = 1'000'000;
        constexpr std::uint32_t Ten = 10;
        if (digit < '0' || digit > '9' || number > Most)
        {
            return 0;
        }
        number = number * Ten + static_cast<std::uint32_t>(digit - '0');
    }
    return text.empty() ? Count(object, name) : number;
}

bool IsAddress(const std::string& text)
{
    try
    {
        return ToText(ParseAddress(text)) == text;
    }
    catch (const std::invalid_argument&)
    {
        return false;
    }
}

/// Takes "router.example (192.0.2.1)" apart, or "192.0.2.1" alone. The name is what somebody has entered for the address,
/// and may be anything; a hop without an address in numbers is a silent one.
void ReadHost(const std::string& text, Hop& hop)
{
    const std::size_t open = text.rfind(" (");
    const bool hasName = open != std::string::npos && text.ends_with(')');
    const std::string address = hasName ? text.substr(open + 2, text.size() - open - 3) : text;
    if (IsAddress(address))
    {
        hop.host = hasName ? text.substr(0, open) : address;
        hop.address = address;
    }
}

Hop ReadHop(const Value& object)
{
    Hop hop;
    ReadHost(Json::TextMember(object, "host"), hop);
    hop.lossPercent = std::min(Figure(object, "Loss%"), 100.0);
    hop.sent = Count(object, "Snt");
    hop.last = Figure(object, "Last");
    hop.average = Figure(object, "Avg");
    hop.best = Figure(object, "Best");
    hop.worst = Figure(object, "Wrst");
    hop.deviation = Figure(object, "StDev");
    return hop;
}

rapidjson::Document ParseOutput(std::string_view output)
{
    try
    {
        return Json::Parse(output);
    }
    catch (const Json::JsonError& problem)
    {
        throw MtrOutputError(problem.what());
    }
}

const Value& NeededMember(const Value& object, std::string_view name)
{
    const Value* const member = Json::FindMember(object, name);
    if (member == nullptr)
    {
        throw MtrOutputError("there is no \"" + std::string(name) + "\" in it");
    }
    return *member;
}

bool IsAnswering(const Hop& hop) noexcept
{
    return !hop.address.empty();
}

/// Times above those of the target are the hop's own.
void Clamp(Path& path)
{
    const Hop& target = path.hops.back();
    for (Hop& hop : path.hops)
    {
        if (IsAnswering(hop))
        {
            hop.last = std::min(hop.last, target.last);
            hop.average = std::min(hop.average, target.average);
            hop.best = std::min(hop.best, target.best);
            hop.worst = std::min(hop.worst, target.worst);
        }
    }
}

/// The silent hops at the end are one, which is the target.
void EndAtTarget(Path& path)
{
    constexpr double AllOfThem = 100.0;
    Hop target;
    target.host = path.target;
    target.address = path.targetAddress;
    target.lossPercent = AllOfThem;
    while (!path.hops.empty() && !IsAnswering(path.hops.back()))
    {
        target.sent = std::max(target.sent, path.hops.back().sent);
        path.hops.pop_back();
    }
    if (target.sent == 0)
    {
        target.sent = path.cycles;
    }
    path.hops.push_back(target);
}

} // namespace

MtrArguments ParseMtrArguments(const std::vector<std::string>& arguments)
{
    MtrArguments result;
    std::size_t i = 0;
    for (; i < arguments.size() && arguments[i].starts_with('-'); ++i)
    {
        if (SetFlag(result, arguments[i]))
        {
            continue;
        }
        const auto* const option =
            std::find_if(Options.begin(), Options.end(), [&](const Option& one) { return one.name == arguments[i]; });
        if (option == Options.end() || i + 1 == arguments.size())
        {
            throw std::invalid_argument(
                "usage: mtr --json [-4] [-c CYCLES] [--interval SECONDS] [--timeout SECONDS] [-q NUMBER]\n"
                "           [--show-ips] [--rtt-clamping] [--end-verification] TARGET");
        }
        option->set(result, option->name, arguments[++i]);
    }
    if (i + 1 != arguments.size())
    {
        throw std::invalid_argument("one target stands at the end");
    }
    result.target = ParseTarget(arguments[i]);
    return result;
}

Path ReadMtrOutput(std::string_view output)
{
    const rapidjson::Document document = ParseOutput(output);
    const Value& report = NeededMember(document, "report");
    const Value& head = NeededMember(report, "mtr");
    const Value& hops = NeededMember(report, "hubs");
    if (!hops.IsArray() || hops.Size() > MostHopsOfAny)
    {
        throw MtrOutputError("its \"hubs\" are no list of at most 255 hops");
    }
    Path path;
    path.source = Json::TextMember(head, "src");
    path.target = Json::TextMember(head, "dst");
    path.typeOfService = WrittenCount(head, "tos");
    path.probeSize = WrittenCount(head, "psize");
    path.bitPattern = Json::TextMember(head, "bitpattern");
    path.cycles = WrittenCount(head, "tests");
    for (const Value& hop : hops.GetArray())
    {
        path.hops.push_back(ReadHop(hop));
    }
    return path;
}

void ApplyOptions(const MtrArguments& arguments, Path& path)
{
    const bool isReached = ReachesTarget(path);
    if (arguments.clampsRoundTrips)
    {
        path.options.emplace_back("rtt-clamping");
        if (isReached)
        {
            Clamp(path);
        }
    }
    if (arguments.verifiesEnd)
    {
        path.options.emplace_back("end-verification");
        if (!isReached)
        {
            EndAtTarget(path);
        }
    }
    if (arguments.showsAddresses)
    {
        path.options.emplace_back("show-ips");
    }
}

int RunMtr(const std::vector<std::string>& arguments)
{
    try
    {
        const MtrArguments read = ParseMtrArguments(arguments);
        const std::string address = ResolveAddress(read.target);
        Path path = MeasurePath(read, address);
        path.target = read.target;
        path.targetAddress = address;
        ApplyOptions(read, path);
        WriteOutput(ToJson(path) + '\n');
        return PathExit::Measured;
    }
    catch (const std::exception& problem)
    {
        std::cerr << "mtr: " << problem.what() << '\n';
        return PathExit::NoMeasurement;
    }
}

} // namespace Lab::Tools
