#include "agentcore.system-texts.hpp"

#include <algorithm>

namespace AgentCore::System::Texts
{

namespace
{

constexpr std::string_view Blanks = " \t";
constexpr std::string_view BlanksAndLineEnds = " \t\r\n";

} // namespace

std::string_view Trim(std::string_view text) noexcept
{
    const auto start = text.find_first_not_of(BlanksAndLineEnds);
    if (start == std::string_view::npos)
    {
        return {};
    }
    return text.substr(start, text.find_last_not_of(BlanksAndLineEnds) - start + 1);
}

std::string_view TakeLine(std::string_view& text) noexcept
{
    const auto end = text.find('\n');
    const auto line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

std::string_view TakeWord(std::string_view& line) noexcept
{
    line.remove_prefix(std::min(line.find_first_not_of(Blanks), line.size()));
    const auto word = line.substr(0, line.find_first_of(Blanks));
    line.remove_prefix(word.size());
    return word;
}

std::optional<NameAndValue> SplitAt(char separator, std::string_view line) noexcept
{
    const auto position = line.find(separator);
    if (position == std::string_view::npos)
    {
        return std::nullopt;
    }
    return NameAndValue{Trim(line.substr(0, position)), Trim(line.substr(position + 1))};
}

} // namespace AgentCore::System::Texts
