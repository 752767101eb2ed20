#include "lab.tools-path.hpp"

#include "lab.wire-utf8.hpp"

#include <cmath>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Lab::Tools
{

namespace
{

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void WriteText(Writer& writer, const char* name, const std::string& text)
{
    writer.Key(name);
    writer.String(Wire::IsUtf8(text) ? text : std::string());
}

/// Whole microseconds are more than any of the figures is worth.
void WriteFigure(Writer& writer, const char* name, double figure)
{
    constexpr double Steps = 1000.0;
    writer.Key(name);
    writer.Double(std::isfinite(figure) ? std::round(figure * Steps) / Steps : 0.0);
}

void WriteHead(Writer& writer, const Path& path)
{
    writer.StartObject();
    WriteText(writer, "src", path.source);
    WriteText(writer, "dst", path.target);
    WriteText(writer, "dstAddress", path.targetAddress);
    WriteText(writer, "tos", std::to_string(path.typeOfService));
    WriteText(writer, "psize", std::to_string(path.probeSize));
    WriteText(writer, "bitpattern", path.bitPattern);
    WriteText(writer, "tests", std::to_string(path.cycles));
    WriteText(writer, "initialRtt", path.initialRoundTrip);
    writer.Key("options");
    writer.StartArray();
    for (const std::string& option : path.options)
    {
        writer.String(option);
    }
    writer.EndArray();
    writer.EndObject();
}

void WriteHop(Writer& writer, std::size_t place, const Hop& hop)
{
    writer.StartObject();
    WriteText(writer, "count", std::to_string(place));
    WriteText(writer, "host", hop.host);
    WriteText(writer, "address", hop.address);
    WriteFigure(writer, "LossPct", hop.lossPercent);
    writer.Key("Snt");
    writer.Uint(hop.sent);
    WriteFigure(writer, "Last", hop.last);
    WriteFigure(writer, "Avg", hop.average);
    WriteFigure(writer, "Best", hop.best);
    WriteFigure(writer, "Wrst", hop.worst);
    WriteFigure(writer, "StDev", hop.deviation);
    writer.EndObject();
}

} // namespace

Hop MakeHop(const std::string& address, std::uint32_t sent, const Statistics& times)
{
    Hop hop;
    hop.host = address.empty() ? SilentHop : address;
    hop.address = address;
    hop.sent = sent;
    hop.lossPercent = LossPercent(sent, times.Count());
    hop.last = times.Last();
    hop.average = times.Mean();
    hop.best = times.Best();
    hop.worst = times.Worst();
    hop.deviation = times.StandardDeviation();
    return hop;
}

bool ReachesTarget(const Path& path) noexcept
{
    return !path.hops.empty() && !path.targetAddress.empty() && path.hops.back().address == path.targetAddress;
}

std::string ToJson(const Path& path)
{
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key("report");
    writer.StartObject();
    writer.Key("mtr");
    WriteHead(writer, path);
    writer.Key("hubs");
    writer.StartArray();
    for (std::size_t i = 0; i < path.hops.size(); ++i)
    {
        WriteHop(writer, i + 1, path.hops[i]);
    }
    writer.EndArray();
    writer.EndObject();
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

} // namespace Lab::Tools
