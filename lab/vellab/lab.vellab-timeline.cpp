#include "lab.vellab-timeline.hpp"

#include <algorithm>
#include <chrono>
#include <fstream>

namespace Lab
{

using Shared::Concurrency::CriticalSection;

std::string FormatTimelineEntry(double seconds, std::string_view who, std::string_view what)
{
    constexpr std::string_view Indent = "\n          |           | ";
    std::string text = fmt::format("[{:8.3f}] {:<9} | ", seconds, who);
    while (what.ends_with('\n'))
    {
        what.remove_suffix(1);
    }
    for (const char character : what)
    {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\n')
        {
            text += Indent;
        }
        else if (byte >= ' ' && byte != 0x7F)
        {
            text += character;
        }
    }
    return text + "\n";
}

Timeline::Timeline(std::ostream& out) : e_out(out), m_start(Shared::Time::MonotonicNow())
{
}

void Timeline::Add(std::string_view who, std::string_view what)
{
    AddAt(Now(), who, what);
}

void Timeline::AddAt(double seconds, std::string_view who, std::string_view what)
{
    std::string text = FormatTimelineEntry(seconds, who, what);
    const CriticalSection hold(&m_lock);
    e_out << text << std::flush;
    if (m_lines.size() < MostKept)
    {
        m_lines.push_back({seconds, std::move(text)});
    }
}

void Timeline::Show(std::string_view text)
{
    const CriticalSection hold(&m_lock);
    e_out << text << std::flush;
}

double Timeline::Now() const
{
    return SecondsAt(Shared::Time::MonotonicNow());
}

double Timeline::SecondsAt(Shared::Time::MonotonicTime time) const
{
    return std::chrono::duration<double>(time - m_start).count();
}

void Timeline::Write(const std::filesystem::path& file) const
{
    const CriticalSection hold(&m_lock);
    std::vector<const Line*> lines;
    for (const Line& line : m_lines)
    {
        lines.push_back(&line);
    }
    std::stable_sort(
        lines.begin(), lines.end(),
        [](const Line* first, const Line* second) { return first->seconds < second->seconds; });
    std::ofstream stream(file, std::ios::binary);
    for (const Line* line : lines)
    {
        stream << line->text;
    }
}

} // namespace Lab
