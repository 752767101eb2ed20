#include "lab.vellab-logtail.hpp"

#include <fstream>
#include <system_error>
#include <utility>

namespace Lab
{

LogTail::LogTail(std::filesystem::path file) : m_file(std::move(file))
{
}

std::string LogTail::ReadNew()
{
    ReadMore();
    const std::size_t end = m_pending.rfind('\n');
    if (end == std::string::npos)
    {
        return {};
    }
    std::string lines = m_pending.substr(0, end + 1);
    m_pending.erase(0, end + 1);
    return lines;
}

std::string LogTail::ReadRest()
{
    ReadMore();
    return std::exchange(m_pending, {});
}

void LogTail::ReadMore()
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(m_file, error);
    if (error || size == m_position)
    {
        return;
    }
    if (size < m_position)
    {
        m_position = 0;
    }
    std::ifstream stream(m_file, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(m_position));
    std::string text(static_cast<std::size_t>(size - m_position), '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    m_position += text.size();
    m_pending += text;
}

} // namespace Lab
