#pragma once

#include "shared.concurrency-threadsafequeue.hpp"

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace Lab::Connector
{

enum class Level
{
    Debug,
    Info,
    Warning,
    Error
};

/// A line as the agent wants it: the level's tag in front, no line ends.
std::string MakeLine(Level level, std::string_view text);

/// Where the connector's lines wait for those who carry them away: the log pipe, and the laboratory. Each of these outlets
/// gets every line; one that does not take its lines loses the newest ones above a limit, and is told how many. Any thread.
class LogLines
{
public:
    /// Lines that wait for one outlet, at most.
    static constexpr std::size_t MostWaiting = 10'000;

    enum class Outlet : std::size_t
    {
        Pipe = 0,
        Laboratory = 1
    };

    template <typename... Args>
    void Tell(Level level, fmt::format_string<Args...> format, Args&&... args)
    {
        Push(MakeLine(level, fmt::format(format, std::forward<Args>(args)...)));
    }

    /// Signalled while lines wait.
    Shared::Raii::RawHandle GetHandle(Outlet outlet) const;
    /// The oldest line; false when none waits.
    bool Take(Outlet outlet, std::string& line);

private:
    struct Waiting
    {
        Shared::Concurrency::ThreadSafeQueue<std::string> lines;
        std::atomic<std::size_t> lost = 0;
    };

    void Push(const std::string& line);
    const Waiting& Of(Outlet outlet) const;
    Waiting& Of(Outlet outlet);

    Waiting m_waiting[2];
};

} // namespace Lab::Connector
