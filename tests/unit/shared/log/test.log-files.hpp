#pragma once

#include "shared.time-clock.hpp"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace LogTests
{

/// The lines of a log file, without their line ends, whichever the platform writes.
std::vector<std::string> Lines(const std::filesystem::path& file);

/// The names of the files in `folder`, sorted.
std::vector<std::string> Names(const std::filesystem::path& folder);

/// A file with one line.
void WriteLine(const std::filesystem::path& file, const std::string& line);

/// The length of a line end in a log file.
std::size_t LineEndSize();

/// Lets the agent's steady clock run on by this many seconds in as many milliseconds. It may go further when the machine
/// is busy, so what must happen before some time is only to be expected when HasPassed() says so behind it. Until
/// destruction the clock differs from the system's.
class MovedClock
{
public:
    MovedClock() = default;
    MovedClock(const MovedClock&) = delete;
    MovedClock& operator=(const MovedClock&) = delete;
    ~MovedClock();

    void Advance(int seconds);
    /// Begins to count what HasPassed() compares.
    void Start();
    bool HasPassed(int seconds) const;

private:
    Shared::Time::MonotonicTime m_start;
};

} // namespace LogTests
