#include "test.log-files.hpp"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <sstream>

#include <spdlog/details/os.h>

#include "shared.time-clockcontrol.hpp"
#include "test.support-temporaryfolder.hpp"

namespace LogTests
{

std::vector<std::string> Lines(const std::filesystem::path& file)
{
    std::istringstream stream(TestSupport::ReadFile(file));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
    {
        if (line.ends_with('\r'))
        {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> Names(const std::filesystem::path& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void WriteLine(const std::filesystem::path& file, const std::string& line)
{
    TestSupport::WriteFile(file, line + spdlog::details::os::default_eol);
}

std::size_t LineEndSize()
{
    return std::strlen(spdlog::details::os::default_eol);
}

MovedClock::~MovedClock()
{
    Shared::Time::ClockControl::Reset();
}

void MovedClock::Advance(int seconds)
{
    constexpr double Fast = 1000.0;
    Shared::Time::ClockControl::SetSpeed(Fast);
    const auto end = Shared::Time::MonotonicNow() + std::chrono::seconds(seconds);
    while (Shared::Time::MonotonicNow() < end)
    {
        Shared::Time::SleepFor(std::chrono::seconds(1));
    }
    Shared::Time::ClockControl::SetSpeed(1.0);
}

void MovedClock::Start()
{
    m_start = Shared::Time::MonotonicNow();
}

bool MovedClock::HasPassed(int seconds) const
{
    return Shared::Time::MonotonicNow() - m_start >= std::chrono::seconds(seconds);
}

} // namespace LogTests
