#include "lab.net-endpoint.hpp"

#include <charconv>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

namespace Lab::Net
{

namespace
{

std::optional<unsigned> ParseNumber(std::string_view text, unsigned highest) noexcept
{
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && number <= highest ? std::optional(number) : std::nullopt;
}

bool IsIpV4(std::string_view text) noexcept
{
    constexpr unsigned HighestPart = 255;
    for (int part = 1; part <= 4; ++part)
    {
        const std::size_t dot = part < 4 ? text.find('.') : text.size();
        if (dot == std::string_view::npos || !ParseNumber(text.substr(0, dot), HighestPart))
        {
            return false;
        }
        text.remove_prefix(part < 4 ? dot + 1 : dot);
    }
    return true;
}

} // namespace

Endpoint ParseEndpoint(std::string_view text)
{
    constexpr unsigned HighestPort = 65535;
    const std::size_t colon = text.find(':');
    if (colon != std::string_view::npos && IsIpV4(text.substr(0, colon)))
    {
        if (const auto port = ParseNumber(text.substr(colon + 1), HighestPort); port.value_or(0) != 0)
        {
            return {std::string(text.substr(0, colon)), static_cast<std::uint16_t>(*port)};
        }
    }
    throw std::invalid_argument(fmt::format("\"{}\" is no address with a port, as 127.0.0.1:40123 is one", text));
}

std::string ToText(const Endpoint& endpoint)
{
    return fmt::format("{}:{}", endpoint.address, endpoint.port);
}

} // namespace Lab::Net
