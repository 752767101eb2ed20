#include "lab.tools-tcping.hpp"

#include "lab.tools-address.hpp"
#include "lab.tools-console.hpp"
#include "lab.tools-numbers.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace Lab::Tools
{

namespace
{

using std::chrono::nanoseconds;

constexpr std::uint32_t MostProbes = 1'000'000;

struct Option
{
    std::string_view name;
    void (*set)(TcpingArguments& arguments, std::string_view name, std::string_view text);
};

constexpr std::array<Option, 4> Options = {
    {{"-n",
      [](TcpingArguments& arguments, std::string_view name, std::string_view text)
      {
          arguments.count = ParseWhole(name, text, 1, MostProbes);
      }},
     {"-i",
      [](TcpingArguments& arguments, std::string_view name, std::string_view text)
      {
          arguments.interval = ParseSeconds(name, text);
      }},
     {"-w",
      [](TcpingArguments& arguments, std::string_view name, std::string_view text)
      {
          arguments.timeout = ParseSeconds(name, text);
      }},
     {"-p",
      [](TcpingArguments& arguments, std::string_view name, std::string_view text)
      {
          constexpr std::uint32_t Most = std::numeric_limits<std::uint16_t>::max();
          arguments.port = static_cast<std::uint16_t>(ParseWhole(name, text, 1, Most));
      }}}};

double ToMilliseconds(nanoseconds time) noexcept
{
    return std::chrono::duration<double, std::milli>(time).count();
}

std::string Outcome(const ConnectResult& result)
{
    switch (result.outcome)
    {
    case ConnectOutcome::Open:
        return "Port is open";
    case ConnectOutcome::Closed:
        return "Connection refused";
    case ConnectOutcome::TimedOut:
        return "No response";
    default:
        return fmt::format("Failed (error {})", result.error);
    }
}

std::string Range(const Statistics& times)
{
    return fmt::format(
        "     Minimum = {:.3f}ms, Maximum = {:.3f}ms, Average = {:.3f}ms\r\n", times.Best(), times.Worst(),
        times.Mean());
}

int Measure(const TcpingArguments& arguments, const BreakSignal& signal)
{
    const std::string address = ResolveAddress(arguments.target);
    TcpingReport report(arguments.target, address, arguments.port);
    WriteOutput("\r\n");
    nanoseconds due = Shared::Time::RealMonotonicNow();
    for (std::uint32_t i = 0; i < arguments.count && !signal.Await(due - Shared::Time::RealMonotonicNow()); ++i)
    {
        due = std::max(due, Shared::Time::RealMonotonicNow()) + arguments.interval;
        WriteOutput(report.Add(TimeConnect(address, arguments.port, arguments.timeout)));
    }
    WriteOutput(report.Summary(arguments.showsJitter));
    return report.ExitCode();
}

} // namespace

TcpingArguments ParseTcpingArguments(const std::vector<std::string>& arguments)
{
    TcpingArguments result;
    std::size_t i = 0;
    for (; i < arguments.size() && arguments[i].starts_with('-'); ++i)
    {
        if (arguments[i] == "-j")
        {
            result.showsJitter = true;
            continue;
        }
        const auto* const option =
            std::find_if(Options.begin(), Options.end(), [&](const Option& one) { return one.name == arguments[i]; });
        if (option == Options.end() || i + 1 == arguments.size())
        {
            throw std::invalid_argument("usage: tcping [-n COUNT] [-i SECONDS] [-w SECONDS] [-j] [-p PORT] TARGET");
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

TcpingReport::TcpingReport(std::string target, std::string address, std::uint16_t port)
    : m_target(std::move(target)), m_address(std::move(address)), m_port(port)
{
}

std::string TcpingReport::Add(const ConnectResult& result)
{
    if (result.outcome == ConnectOutcome::BrokenOff)
    {
        return {};
    }
    ++m_sent;
    const double time = ToMilliseconds(result.time);
    if (result.outcome == ConnectOutcome::Open)
    {
        if (m_times.Count() > 0)
        {
            m_jitter.Add(std::abs(time - m_times.Last()));
        }
        m_times.Add(time);
    }
    return fmt::format("Probing {}:{}/tcp - {} - time={:.3f}ms \r\n", m_address, m_port, Outcome(result), time);
}

std::string TcpingReport::Summary(bool showsJitter) const
{
    const std::uint32_t received = m_times.Count();
    std::string text = fmt::format(
        "\r\nStatistics of {}:{}\r\n"
        "     {} probes sent. \r\n"
        "     {} successful, {} failed.  ({:.2f}% fail)\r\n",
        m_target, m_port, m_sent, received, m_sent - received, LossPercent(m_sent, received));
    if (received > 0)
    {
        text += "Approximate trip times in milliseconds:\r\n";
        text += Range(m_times);
    }
    if (showsJitter && m_jitter.Count() > 0)
    {
        text += "Jitter:\r\n";
        text += Range(m_jitter);
    }
    return text;
}

int TcpingReport::ExitCode() const noexcept
{
    if (m_sent == 0)
    {
        return TcpingExit::NothingMeasured;
    }
    return m_times.Count() == m_sent ? TcpingExit::AllOpen : TcpingExit::SomeFailed;
}

int RunTcping(const std::vector<std::string>& arguments)
{
    try
    {
        const BreakSignal signal;
        KeepLineEnds();
        return Measure(ParseTcpingArguments(arguments), signal);
    }
    catch (const std::exception& problem)
    {
        std::cerr << "tcping: " << problem.what() << '\n';
        return TcpingExit::NoMeasurement;
    }
}

} // namespace Lab::Tools
