#pragma once

#include "shared.time-clock.hpp"

#include <cstddef>
#include <filesystem>
#include <mutex>
#include <string>

#include <spdlog/details/file_helper.h>
#include <spdlog/sinks/base_sink.h>

// Named like the library's sinks, beside which it stands.
// NOLINTBEGIN(readability-identifier-naming)

namespace Shared::Log::sinks
{

/// A file that is closed and renamed when the next line would carry it past its size: the newest lines are in the base
/// file, older ones in the files with a number before the extension, the higher the older. A rotation first closes the
/// gaps that one before has left; only when there is none and all numbers are taken is the oldest file deleted.
///
/// Only the first part of the name may be missing: "agent.log" has "agent.1.log" beside it, "agent" has "agent.1", and
/// ".agent" has ".agent.1". A line longer than the greatest size is written whole, to a file of its own.
///
/// What goes wrong while writing is thrown to the logger, which reports it on the standard error stream (at most once a
/// second, with the number of failures so far); the agent goes on.
/// - A file that cannot be renamed is tried once more after 100 milliseconds of the agent's clock. Then the base file is
///   emptied, because it must not grow without end, and the line is lost.
/// - As long as the file cannot be opened, lines are lost, and opening is tried again at most every 30 seconds of the
///   agent's clock.
/// - Lines are collected before they are written, so a full disk may show only when the file is flushed. Once there is
///   room again, logging goes on where it stopped. No file is rotated while its lines cannot be written, so that a full
///   disk does not push out the older files.
///
/// A base file that others delete is made anew: on Linux at the next rotation, up to which its lines go into the deleted
/// one. On Windows it cannot be deleted while it is open.
///
/// Any thread may log to it when `Mutex` is a mutex. spdlog's headers are needed, so this is for this folder and tests.
template <typename Mutex>
class rotating_file_sink final : public spdlog::sinks::base_sink<Mutex>
{
public:
    /// Opens `baseFile` for append, and creates its folder if need be; a file that cannot be opened is no failure here.
    /// Throws spdlog's exception "rotating sink constructor: max_size arg cannot be zero" for a `maxSize` of 0 bytes,
    /// "rotating sink constructor: max_files arg cannot exceed 200000" for more older files than that.
    rotating_file_sink(std::filesystem::path baseFile, std::size_t maxSize, std::size_t maxFiles);

    /// The name of the file with this number: `baseFile` for 0, else "{}.{}{}" with its stem, number and extension.
    static std::filesystem::path FileName(const std::filesystem::path& baseFile, std::size_t index);

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override;

private:
    enum class Opening
    {
        Append,
        Truncate
    };

    void Open(Opening opening);
    void TryOpen(Opening opening);
    void EnsureOpen();
    void MakeRoomFor(std::size_t size);
    void Rotate();
    void Compact();
    void MoveUp(std::size_t highest);
    void Rename(const std::filesystem::path& from, const std::filesystem::path& to);
    bool Exists(std::size_t index) const;

    const std::filesystem::path m_baseFile;
    const std::size_t m_maxSize;
    const std::size_t m_maxFiles;

    // All under the base's mutex.
    spdlog::details::file_helper m_file;
    /// The file helper cannot say whether it has a file, and must not be used without one.
    bool m_isOpen = false;
    /// What was in the file when it was opened, and all lines since: never less than it will hold once all is flushed.
    std::size_t m_currentSize = 0;
    std::string m_openFailure;
    Time::MonotonicTime m_nextOpening;
};

extern template class rotating_file_sink<std::mutex>;

} // namespace Shared::Log::sinks

// NOLINTEND(readability-identifier-naming)
