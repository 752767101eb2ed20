#include "agentcore.tests-tcpingreport.hpp"

#include "shared.exception-exceptions.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <system_error>

#include <fmt/format.h>

namespace AgentCore::Tests
{

namespace
{

constexpr std::string_view LineEnd = "\r\n";
constexpr std::uint32_t MsPerSecond = 1000;
/// So many failed probes in a row are an outage.
constexpr std::uint32_t OutageProbes = 5;
constexpr std::size_t MostToldCharacters = 100;
constexpr std::string_view RoundTripsBegin = "Minimum = ";
constexpr std::string_view JitterBegin = "Average = ";

bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool IsWordCharacter(char character)
{
    return IsDigit(character) || (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
        character == '_';
}

/// The number at the front of `text`, whatever follows it.
template <typename Number>
Number ToNumber(std::string_view text)
{
    Number number{};
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc())
    {
        throw Shared::Exception::RuntimeException(
            fmt::format("Tcping printed a number that is none: {}", text.substr(0, MostToldCharacters)));
    }
    return number;
}

// The patterns of the lines. They are found by hand, since the time, and in some libraries the stack, that a regular
// expression takes is what the line makes of it.

/// The first match of "(\w+)" and `rest`: the group.
std::optional<std::string_view> FindWordBefore(std::string_view line, std::string_view rest)
{
    for (std::size_t end = line.find(rest); end != std::string_view::npos; end = line.find(rest, end + 1))
    {
        std::size_t begin = end;
        while (begin > 0 && IsWordCharacter(line[begin - 1]))
        {
            --begin;
        }
        if (begin != end)
        {
            return line.substr(begin, end - begin);
        }
    }
    return std::nullopt;
}

/// Takes `text` off the front.
bool Skip(std::string_view& line, std::string_view text)
{
    const bool isThere = line.starts_with(text);
    if (isThere)
    {
        line.remove_prefix(text.size());
    }
    return isThere;
}

std::size_t CountDigits(std::string_view text)
{
    return static_cast<std::size_t>(std::ranges::find_if_not(text, IsDigit) - text.begin());
}

/// Takes `name` and "\d+\.\d+" off the front: the number.
std::optional<std::string_view> SkipFigure(std::string_view& line, std::string_view name)
{
    if (!Skip(line, name))
    {
        return std::nullopt;
    }
    const std::size_t whole = CountDigits(line);
    if (whole == 0 || whole == line.size() || line[whole] != '.')
    {
        return std::nullopt;
    }
    const std::size_t fraction = CountDigits(line.substr(whole + 1));
    if (fraction == 0)
    {
        return std::nullopt;
    }
    const std::string_view figure = line.substr(0, whole + 1 + fraction);
    line.remove_prefix(figure.size());
    return figure;
}

/// Calls `match` with each part of the line that begins with `name`, until it gives something.
template <typename Match>
auto FindFrom(std::string_view line, std::string_view name, Match match) -> decltype(match(line))
{
    for (std::size_t begin = line.find(name); begin != std::string_view::npos; begin = line.find(name, begin + 1))
    {
        if (const auto found = match(line.substr(begin)))
        {
            return found;
        }
    }
    return std::nullopt;
}

struct RoundTrips
{
    std::string_view minimum;
    std::string_view maximum;
    std::string_view average;
};

/// "Minimum = (\d+\.\d+)ms, Maximum = (\d+\.\d+)ms, Average = (\d+\.\d+)ms"
std::optional<RoundTrips> FindRoundTrips(std::string_view line)
{
    return FindFrom(
        line, RoundTripsBegin,
        [](std::string_view rest) -> std::optional<RoundTrips>
        {
            const auto minimum = SkipFigure(rest, RoundTripsBegin);
            const auto maximum = minimum ? SkipFigure(rest, "ms, Maximum = ") : std::nullopt;
            const auto average = maximum ? SkipFigure(rest, "ms, Average = ") : std::nullopt;
            return average && Skip(rest, "ms") ? std::optional(RoundTrips{*minimum, *maximum, *average}) : std::nullopt;
        });
}

/// "Average = (\d+\.\d+)"
std::optional<std::string_view> FindJitter(std::string_view line)
{
    return FindFrom(line, JitterBegin, [](std::string_view rest) { return SkipFigure(rest, JitterBegin); });
}

/// Goes through the lines, in order.
class Reader
{
public:
    Reader(std::uint32_t intervalSeconds, PingStatistics& statistics)
        : m_intervalMs(intervalSeconds * MsPerSecond), e_statistics(statistics)
    {
    }

    void ReadLine(std::string_view line)
    {
        if (line.starts_with("Probing"))
        {
            ReadProbe(line);
        }
        else if (line.ends_with("probes sent. "))
        {
            if (const auto sent = FindWordBefore(line, " probes sent"))
            {
                e_statistics.set_pings_sent(ToNumber<std::uint32_t>(*sent));
            }
        }
        else if (line.ends_with("fail)"))
        {
            if (const auto received = FindWordBefore(line, " successful"))
            {
                e_statistics.set_pings_received(ToNumber<std::uint32_t>(*received));
            }
        }
        else if (line.starts_with("Approximate"))
        {
            m_inApproximate = true;
            return;
        }
        else if (line.starts_with("Jitter"))
        {
            m_inJitter = true;
            return;
        }
        ReadFigures(line);
    }

    void Finish()
    {
        if (e_statistics.pings_received() > 0 && m_failRun < OutageProbes)
        {
            AddAvailable(m_failRun);
        }
        e_statistics.set_period_total(e_statistics.pings_sent() * m_intervalMs);
    }

private:
    void ReadProbe(std::string_view line)
    {
        if (line.find("open") == std::string_view::npos)
        {
            ++m_failRun;
            return;
        }
        AddAvailable(1);
        if (m_failRun < OutageProbes)
        {
            AddAvailable(m_failRun);
        }
        m_failRun = 0;
    }

    /// The line behind a heading, whatever it is.
    void ReadFigures(std::string_view line)
    {
        if (m_inApproximate)
        {
            m_inApproximate = false;
            if (const auto roundTrips = FindRoundTrips(line))
            {
                e_statistics.set_min_rtt(ToNumber<std::uint32_t>(roundTrips->minimum));
                e_statistics.set_max_rtt(ToNumber<std::uint32_t>(roundTrips->maximum));
                e_statistics.set_avg_rtt(ToNumber<float>(roundTrips->average));
            }
        }
        else if (m_inJitter)
        {
            m_inJitter = false;
            if (const auto jitter = FindJitter(line))
            {
                e_statistics.set_jitter(ToNumber<float>(*jitter));
            }
        }
    }

    void AddAvailable(std::uint32_t probes)
    {
        e_statistics.set_period_available(e_statistics.period_available() + probes * m_intervalMs);
    }

    std::uint32_t m_intervalMs;
    PingStatistics& e_statistics;
    std::uint32_t m_failRun = 0;
    bool m_inApproximate = false;
    bool m_inJitter = false;
};

} // namespace

void ReadTcpingReport(std::string_view output, std::uint32_t intervalSeconds, PingStatistics& statistics)
{
    Reader reader(intervalSeconds, statistics);
    std::size_t end = 0;
    for (std::size_t begin = 0; begin < output.size(); begin = end + LineEnd.size())
    {
        end = std::min(output.find(LineEnd, begin), output.size());
        reader.ReadLine(output.substr(begin, end - begin));
    }
    reader.Finish();
}

} // namespace AgentCore::Tests
