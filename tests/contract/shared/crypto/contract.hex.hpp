#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

/// Bytes as they stand in published vectors.
inline std::string ToHex(std::span<const std::uint8_t> bytes)
{
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

inline std::vector<std::uint8_t> FromHex(std::string_view digits)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    }
    return bytes;
}
