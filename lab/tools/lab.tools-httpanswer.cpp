#include "lab.tools-httpanswer.hpp"

#include "shared.util-functions.hpp"

#include <algorithm>
#include <charconv>

namespace Lab::Tools
{

namespace
{

constexpr std::string_view LineEnd = "\r\n";
constexpr std::string_view HeadEnd = "\r\n\r\n";

template <typename Number>
std::optional<Number> ReadDigits(std::string_view text) noexcept
{
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// "HTTP/1.1 200 OK"
std::uint32_t ReadStatus(std::string_view line)
{
    constexpr std::string_view Name = "HTTP/1.";
    constexpr std::size_t CodeAt = 9;
    constexpr std::size_t CodeSize = 3;
    const auto status = line.size() >= CodeAt + CodeSize && line.starts_with(Name) && line[CodeAt - 1] == ' '
        ? ReadDigits<std::uint32_t>(line.substr(CodeAt, CodeSize))
        : std::nullopt;
    if (!status)
    {
        throw HttpAnswerError("the answer does not begin as one of HTTP");
    }
    return *status;
}

std::string_view Trim(std::string_view text) noexcept
{
    constexpr std::string_view Blanks = " \t";
    const std::size_t begin = text.find_first_not_of(Blanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(Blanks) - begin + 1);
}

/// The length of the body, of a line that tells it.
std::optional<std::uint64_t> ReadLength(std::string_view line)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos ||
        !Shared::Util::EqualsIgnoreCase(line.substr(0, colon), std::string_view("Content-Length")))
    {
        return std::nullopt;
    }
    const auto length = ReadDigits<std::uint64_t>(Trim(line.substr(colon + 1)));
    if (!length)
    {
        throw HttpAnswerError("the length of the answer is no number");
    }
    return length;
}

bool HasNoBody(std::uint32_t status) noexcept
{
    constexpr std::uint32_t NoContent = 204;
    constexpr std::uint32_t NotModified = 304;
    return status == NoContent || status == NotModified;
}

} // namespace

void HttpAnswerReader::Add(std::string_view bytes)
{
    if (m_hasHead)
    {
        AddBody(bytes.size());
        return;
    }
    // The end may have come in two parts.
    const std::size_t from = m_head.size() < HeadEnd.size() ? 0 : m_head.size() - HeadEnd.size();
    const std::size_t before = m_head.size();
    m_head.append(bytes.substr(0, LongestHead + 1 - std::min(before, LongestHead)));
    const std::size_t end = m_head.find(HeadEnd, from);
    if (end == std::string::npos || end + HeadEnd.size() > LongestHead)
    {
        if (m_head.size() > LongestHead)
        {
            throw HttpAnswerError("the head of the answer does not end");
        }
        return;
    }
    const std::size_t headSize = end + HeadEnd.size();
    m_head.resize(end);
    ReadHead();
    m_hasHead = true;
    AddBody(bytes.size() - (headSize - before));
}

void HttpAnswerReader::ReadHead()
{
    const std::string_view head = m_head;
    std::size_t end = std::min(head.find(LineEnd), head.size());
    m_status = ReadStatus(head.substr(0, end));
    while (end < head.size())
    {
        const std::size_t begin = end + LineEnd.size();
        end = std::min(head.find(LineEnd, begin), head.size());
        if (const auto length = ReadLength(head.substr(begin, end - begin)))
        {
            m_length = length;
        }
    }
    if (HasNoBody(m_status))
    {
        m_length = 0;
    }
}

void HttpAnswerReader::AddBody(std::size_t size) noexcept
{
    m_size += size;
    if (m_length)
    {
        m_size = std::min(m_size, *m_length);
    }
}

bool HttpAnswerReader::HasHead() const noexcept
{
    return m_hasHead;
}

bool HttpAnswerReader::IsComplete() const noexcept
{
    return m_hasHead && m_length && m_size == *m_length;
}

bool HttpAnswerReader::IsCutOff() const noexcept
{
    return !m_hasHead || (m_length && m_size < *m_length);
}

std::uint32_t HttpAnswerReader::GetStatus() const noexcept
{
    return m_status;
}

std::uint64_t HttpAnswerReader::GetBodySize() const noexcept
{
    return m_size;
}

} // namespace Lab::Tools
