#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>
#include <system_error>

namespace Shared::Util
{

/// The number that the whole of `text` is, in decimal; nothing for any other text, blanks included, and for a number that
/// does not fit. Pure.
template <std::integral Number>
std::optional<Number> ParseNumber(std::string_view text) noexcept
{
    Number number{};
    const auto* const textEnd = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), textEnd, number);
    return error == std::errc{} && end == textEnd ? std::optional{number} : std::nullopt;
}

} // namespace Shared::Util
