#include "lab.connector-log.hpp"

#include <algorithm>
#include <array>

namespace Lab::Connector
{

namespace
{

constexpr std::array<std::string_view, 4> Tags = {"[debug]", "[info]", "[warning]", "[error]"};

} // namespace

std::string MakeLine(Level level, std::string_view text)
{
    std::string line = fmt::format("{} {}", Tags[static_cast<std::size_t>(level)], text);
    std::replace_if(
        line.begin(), line.end(), [](char character) { return character == '\n' || character == '\r'; }, ' ');
    return line;
}

Shared::Raii::RawHandle LogLines::GetHandle(Outlet outlet) const
{
    return Of(outlet).lines.GetEventHandle();
}

bool LogLines::Take(Outlet outlet, std::string& line)
{
    Waiting& waiting = Of(outlet);
    if (const std::size_t lost = waiting.lost.exchange(0); lost != 0)
    {
        line = MakeLine(Level::Warning, fmt::format("{} lines were lost, as nobody took them", lost));
        return true;
    }
    return waiting.lines.TakeFirst([](const std::string&) { return true; }, line);
}

void LogLines::Push(const std::string& line)
{
    for (Waiting& waiting : m_waiting)
    {
        if (waiting.lines.Size() < MostWaiting)
        {
            waiting.lines.Push(line);
        }
        else
        {
            ++waiting.lost;
        }
    }
}

const LogLines::Waiting& LogLines::Of(Outlet outlet) const
{
    return m_waiting[static_cast<std::size_t>(outlet)];
}

LogLines::Waiting& LogLines::Of(Outlet outlet)
{
    return m_waiting[static_cast<std::size_t>(outlet)];
}

} // namespace Lab::Connector
