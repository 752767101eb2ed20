#include "shared.log-rotatingfilesink.hpp"

#include <chrono>
#include <exception>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include "shared.log-logfile.hpp"

namespace Shared::Log::sinks
{

namespace
{

constexpr std::size_t MostFiles = 200000;
constexpr std::chrono::milliseconds RenameRetryDelay{100};
constexpr std::chrono::seconds OpeningInterval{30};

spdlog::file_event_handlers Handlers()
{
    spdlog::file_event_handlers handlers;
    handlers.after_open = [](const spdlog::filename_t&, std::FILE* stream)
    {
        LogFile::KeepFromChildren(stream);
    };
    return handlers;
}

} // namespace

template <typename Mutex>
rotating_file_sink<Mutex>::rotating_file_sink(std::filesystem::path baseFile, std::size_t maxSize, std::size_t maxFiles)
    : m_baseFile(std::move(baseFile)), m_maxSize(maxSize), m_maxFiles(maxFiles), m_file(Handlers())
{
    if (m_maxSize == 0)
    {
        spdlog::throw_spdlog_ex("rotating sink constructor: max_size arg cannot be zero");
    }
    if (m_maxFiles > MostFiles)
    {
        spdlog::throw_spdlog_ex("rotating sink constructor: max_files arg cannot exceed 200000");
    }
    try
    {
        Open(Opening::Append);
    }
    catch (const std::exception&)
    {
        // Each line that is lost says so; the agent does its work without a log.
    }
}

template <typename Mutex>
std::filesystem::path rotating_file_sink<Mutex>::FileName(const std::filesystem::path& baseFile, std::size_t index)
{
    if (index == 0)
    {
        return baseFile;
    }
    const auto name = baseFile.filename().u8string();
    const auto [stem, extension] =
        spdlog::details::file_helper::split_by_extension(std::string(name.begin(), name.end()));
    const std::string numbered = fmt::format("{}.{}{}", stem, index, extension);
    return baseFile.parent_path() / std::u8string(numbered.begin(), numbered.end());
}

template <typename Mutex>
void rotating_file_sink<Mutex>::sink_it_(const spdlog::details::log_msg& message)
{
    spdlog::memory_buf_t line;
    this->formatter_->format(message, line);
    EnsureOpen();
    MakeRoomFor(line.size());
    m_currentSize += line.size();
    m_file.write(line);
}

template <typename Mutex>
void rotating_file_sink<Mutex>::flush_()
{
    if (m_isOpen)
    {
        m_file.flush();
    }
}

template <typename Mutex>
void rotating_file_sink<Mutex>::Open(Opening opening)
{
    try
    {
        TryOpen(opening);
    }
    catch (const std::exception& exception)
    {
        m_openFailure = exception.what();
        m_nextOpening = Time::MonotonicNow() + OpeningInterval;
        throw;
    }
}

template <typename Mutex>
void rotating_file_sink<Mutex>::TryOpen(Opening opening)
{
    m_isOpen = false;
    m_file.open(LogFile::NativeName(m_baseFile), opening == Opening::Truncate);
    m_currentSize = m_file.size();
    m_isOpen = true;
}

/// Opening takes five attempts of 10 milliseconds before it fails, which no line may pay for.
template <typename Mutex>
void rotating_file_sink<Mutex>::EnsureOpen()
{
    if (m_isOpen)
    {
        return;
    }
    if (Time::MonotonicNow() < m_nextOpening)
    {
        spdlog::throw_spdlog_ex(m_openFailure);
    }
    Open(Opening::Append);
}

template <typename Mutex>
void rotating_file_sink<Mutex>::MakeRoomFor(std::size_t size)
{
    if (m_currentSize + size <= m_maxSize)
    {
        return;
    }
    m_file.flush();
    // On a full disk lines are counted that never got there: renaming an empty file would only push out an old one.
    if (m_file.size() == 0)
    {
        m_currentSize = 0;
        return;
    }
    Rotate();
}

template <typename Mutex>
void rotating_file_sink<Mutex>::Rotate()
{
    m_isOpen = false;
    m_file.close();
    Compact();
    if (Exists(0))
    {
        std::error_code ignored;
        std::filesystem::remove(FileName(m_baseFile, m_maxFiles), ignored);
        MoveUp(m_maxFiles);
    }
    Open(Opening::Truncate);
}

/// Closes gaps that a rotation which failed has left.
template <typename Mutex>
void rotating_file_sink<Mutex>::Compact()
{
    std::size_t highest = m_maxFiles;
    while (highest > 0 && !Exists(highest))
    {
        --highest;
    }
    MoveUp(highest);
}

template <typename Mutex>
void rotating_file_sink<Mutex>::MoveUp(std::size_t highest)
{
    for (std::size_t index = highest; index > 0; --index)
    {
        if (Exists(index - 1) && !Exists(index))
        {
            Rename(FileName(m_baseFile, index - 1), FileName(m_baseFile, index));
        }
    }
}

template <typename Mutex>
void rotating_file_sink<Mutex>::Rename(const std::filesystem::path& from, const std::filesystem::path& to)
{
    std::error_code error;
    std::filesystem::rename(from, to, error);
    if (!error)
    {
        return;
    }
    // Virus scanners and readers hold a file for a moment.
    Time::SleepFor(RenameRetryDelay);
    std::filesystem::rename(from, to, error);
    if (!error)
    {
        return;
    }
    // The lines are given up, or the file would grow without end.
    Open(Opening::Truncate);
    spdlog::throw_spdlog_ex(fmt::format(
        "rotating_file_sink: failed renaming {} to {}: {}", LogFile::DisplayName(from), LogFile::DisplayName(to),
        error.message()));
}

template <typename Mutex>
bool rotating_file_sink<Mutex>::Exists(std::size_t index) const
{
    std::error_code ignored;
    return std::filesystem::exists(FileName(m_baseFile, index), ignored);
}

template class rotating_file_sink<std::mutex>;

} // namespace Shared::Log::sinks
