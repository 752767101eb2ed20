#pragma once

#include "shared.concurrency-criticalsection.hpp"
#include "shared.time-clock.hpp"

#include <cstddef>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace Lab
{

/// Who did what when, shown as it becomes known, and kept. Any thread.
class Timeline
{
public:
    /// Lines that are kept, at most; what comes later is shown only.
    static constexpr std::size_t MostKept = 200'000;

    /// Time counts from now on. `out` must outlive the timeline.
    explicit Timeline(std::ostream& out);

    /// Something that happens now.
    void Add(std::string_view who, std::string_view what);
    /// Something that happened `seconds` after the timeline's beginning.
    void AddAt(double seconds, std::string_view who, std::string_view what);

    /// The laboratory's own doing.
    template <typename... Args>
    void Tell(fmt::format_string<Args...> format, Args&&... args)
    {
        Add("vellab", fmt::format(format, std::forward<Args>(args)...));
    }

    /// Text that is shown as it is, and not kept.
    void Show(std::string_view text);

    double Now() const;
    /// A moment as the timeline tells it.
    double SecondsAt(Shared::Time::MonotonicTime time) const;

    /// Writes all that was kept into the file, in the order of time. A file that cannot be written is not reported.
    void Write(const std::filesystem::path& file) const;

private:
    struct Line
    {
        double seconds;
        std::string text;
    };

    std::ostream& e_out;
    Shared::Time::MonotonicTime m_start;
    mutable Shared::Concurrency::SystemCriticalSection m_lock;
    std::vector<Line> m_lines VEL_GUARDED_BY(m_lock);
};

/// "[  1.234] cloud     | text": lines of the text behind the first are indented, and control characters are dropped.
std::string FormatTimelineEntry(double seconds, std::string_view who, std::string_view what);

} // namespace Lab
