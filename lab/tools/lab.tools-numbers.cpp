#include "lab.tools-numbers.hpp"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include <fmt/format.h>

namespace Lab::Tools
{

namespace
{

constexpr std::size_t LongestTarget = 255;

/// A wrong text is shown, but not all of one that goes on and on, and nothing that a terminal would obey.
std::string Shown(std::string_view text)
{
    constexpr std::size_t Most = 60;
    std::string shown(text.substr(0, Most));
    std::replace_if(
        shown.begin(), shown.end(), [](char character) { return character < ' ' || character > '~'; }, '?');
    return shown;
}

template <typename Number>
bool Read(std::string_view text, Number& number) noexcept
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

} // namespace

std::uint32_t ParseWhole(std::string_view name, std::string_view text, std::uint32_t least, std::uint32_t most)
{
    std::uint32_t number = 0;
    if (!Read(text, number) || number < least || number > most)
    {
        throw std::invalid_argument(
            fmt::format("{} is a whole number from {} to {}, not \"{}\"", name, least, most, Shown(text)));
    }
    return number;
}

std::chrono::nanoseconds ParseSeconds(std::string_view name, std::string_view text)
{
    constexpr double Most = 86'400.0;
    double number = 0.0;
    if (!Read(text, number) || !(number > 0.0) || number > Most)
    {
        throw std::invalid_argument(
            fmt::format("{} is a number of seconds above 0 and at most {}, not \"{}\"", name, Most, Shown(text)));
    }
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(number));
}

std::string ParseTarget(std::string_view text)
{
    const bool isVisible =
        std::all_of(text.begin(), text.end(), [](char character) { return character > ' ' && character <= '~'; });
    if (text.empty() || text.size() > LongestTarget || text.front() == '-' || !isVisible)
    {
        throw std::invalid_argument(fmt::format("\"{}\" is no name or address of a host", Shown(text)));
    }
    return std::string(text);
}

} // namespace Lab::Tools
