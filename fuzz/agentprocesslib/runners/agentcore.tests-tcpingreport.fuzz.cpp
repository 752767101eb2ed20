// Any text as what tcping prints. What is read is what the patterns of the lines give as regular expressions, in a second,
// straightforward reading; lines beyond a thousand characters, which those take too much of the stack for, are only read.

#include "agentcore.tests-tcpingreport.hpp"
#include "fuzz.require.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.util-functions.hpp"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;

constexpr std::uint32_t IntervalSeconds = 10;
constexpr std::size_t LongestCompared = 1000;

std::uint32_t ToUnsigned(const std::string& text)
{
    const unsigned long long number = std::stoull(text);
    if (number > 0xFFFFFFFFU)
    {
        throw std::out_of_range("more than 32 bits");
    }
    return static_cast<std::uint32_t>(number);
}

float ToFloat(const std::string& text)
{
    const float number = std::strtof(text.c_str(), nullptr);
    if (std::isinf(number) || (number == 0.0F && text.find_first_of("123456789") != std::string::npos))
    {
        throw std::out_of_range("not for a float");
    }
    return number;
}

/// The second reading.
class Reference
{
public:
    void ReadLine(const std::string& line)
    {
        static const std::regex Sent(R"((\w+) probes sent)");
        static const std::regex Received(R"((\w+) successful)");
        std::smatch match;
        if (line.rfind("Probing", 0) == 0)
        {
            ReadProbe(line);
        }
        else if (line.ends_with("probes sent. "))
        {
            if (std::regex_search(line, match, Sent))
            {
                sent = ToUnsigned(match[1]);
            }
        }
        else if (line.ends_with("fail)"))
        {
            if (std::regex_search(line, match, Received))
            {
                received = ToUnsigned(match[1]);
            }
        }
        else if (line.rfind("Approximate", 0) == 0)
        {
            m_inApproximate = true;
            return;
        }
        else if (line.rfind("Jitter", 0) == 0)
        {
            m_inJitter = true;
            return;
        }
        ReadFigures(line);
    }

    std::uint32_t Available() const
    {
        return received > 0 && m_failRun < 5 ? available + m_failRun * IntervalSeconds * 1000 : available;
    }

    std::uint32_t sent = 0;
    std::uint32_t received = 0;
    std::uint32_t minimum = 0;
    std::uint32_t maximum = 0;
    float average = 0.0F;
    float jitter = 0.0F;
    std::uint32_t available = 0;

private:
    void ReadProbe(const std::string& line)
    {
        if (line.find("open") == std::string::npos)
        {
            ++m_failRun;
            return;
        }
        available += IntervalSeconds * 1000 * (m_failRun < 5 ? m_failRun + 1 : 1);
        m_failRun = 0;
    }

    void ReadFigures(const std::string& line)
    {
        static const std::regex RoundTrips(R"(Minimum = (\d+\.\d+)ms, Maximum = (\d+\.\d+)ms, Average = (\d+\.\d+)ms)");
        static const std::regex Jitter(R"(Average = (\d+\.\d+))");
        std::smatch match;
        if (m_inApproximate)
        {
            m_inApproximate = false;
            if (std::regex_search(line, match, RoundTrips))
            {
                minimum = ToUnsigned(match[1]);
                maximum = ToUnsigned(match[2]);
                average = ToFloat(match[3]);
            }
        }
        else if (m_inJitter)
        {
            m_inJitter = false;
            if (std::regex_search(line, match, Jitter))
            {
                jitter = ToFloat(match[1]);
            }
        }
    }

    std::uint32_t m_failRun = 0;
    bool m_inApproximate = false;
    bool m_inJitter = false;
};

/// False when the reading fails.
bool ReadByReference(const std::string& text, Reference& reference)
{
    try
    {
        for (const std::string& line : Shared::Util::Split(text, "\r\n"))
        {
            reference.ReadLine(line);
        }
        return true;
    }
    catch (const std::logic_error&)
    {
        return false;
    }
}

bool Read(const std::string& text, PingStatistics& statistics)
{
    try
    {
        AgentCore::Tests::ReadTcpingReport(text, IntervalSeconds, statistics);
        return true;
    }
    catch (const Shared::Exception::RuntimeException&)
    {
        return false;
    }
}

bool HasLongLine(const std::string& text)
{
    for (const std::string& line : Shared::Util::Split(text, "\r\n"))
    {
        if (line.size() > LongestCompared)
        {
            return true;
        }
    }
    return false;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    PingStatistics statistics;
    const bool isRead = Read(text, statistics);
    if (HasLongLine(text))
    {
        return 0;
    }
    Reference reference;
    Require(ReadByReference(text, reference) == isRead);
    if (isRead)
    {
        Require(statistics.pings_sent() == reference.sent && statistics.pings_received() == reference.received);
        Require(statistics.min_rtt() == reference.minimum && statistics.max_rtt() == reference.maximum);
        Require(statistics.avg_rtt() == reference.average && statistics.jitter() == reference.jitter);
        Require(statistics.period_available() == reference.Available());
        Require(statistics.period_total() == reference.sent * IntervalSeconds * 1000);
    }
    return 0;
}
