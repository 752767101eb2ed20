#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>
#include <system_error>

/// Steps of reading the line-oriented texts in which Linux tells about the machine. Pure; no text, however damaged, makes
/// any of them fail. What they return are views of the given text.
namespace AgentCore::System::Texts
{

/// `text` without blanks, tabulators and line ends at both ends.
std::string_view Trim(std::string_view text) noexcept;

/// Cuts the first line off `text` and returns it without its line end. An empty `text` gives an empty line.
std::string_view TakeLine(std::string_view& text) noexcept;

/// Cuts the first word off `line`, with the blanks and tabulators before it, and returns it; empty when there is none.
std::string_view TakeWord(std::string_view& line) noexcept;

/// A line "name<separator>value".
struct NameAndValue
{
    std::string_view name;
    std::string_view value;
};

/// The two sides of the first `separator` of a line, both trimmed; nothing without a separator.
std::optional<NameAndValue> SplitAt(char separator, std::string_view line) noexcept;

/// The number that the whole of `text` (trimmed) is, in decimal; nothing for another text or a number that does not fit.
template <std::integral Number>
std::optional<Number> ParseNumber(std::string_view text) noexcept
{
    const auto digits = Trim(text);
    Number number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc{} || end != digits.data() + digits.size())
    {
        return std::nullopt;
    }
    return number;
}

} // namespace AgentCore::System::Texts
