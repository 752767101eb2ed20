#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace Lab::Tools
{

/// Parts of the tools' command lines. What is not as told here gives std::invalid_argument with a sentence for people, in
/// which `name` says what the text was for.

/// A whole number from `least` to `most`.
std::uint32_t ParseWhole(std::string_view name, std::string_view text, std::uint32_t least, std::uint32_t most);

/// A decimal number of seconds, above 0 and at most a day.
std::chrono::nanoseconds ParseSeconds(std::string_view name, std::string_view text);

/// A name or address of a host: not empty, at most 255 characters, nothing but visible ASCII, and never an option.
std::string ParseTarget(std::string_view text);

} // namespace Lab::Tools
