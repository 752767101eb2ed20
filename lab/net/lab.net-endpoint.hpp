#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Lab::Net
{

/// The one address on which anything of the laboratory listens.
inline constexpr const char* Loopback = "127.0.0.1";

/// A port of an IPv4 address.
struct Endpoint
{
    std::string address = Loopback;
    std::uint16_t port = 0;

    bool operator==(const Endpoint&) const = default;
};

/// Reads "127.0.0.1:40123": four numbers up to 255 and a port from 1 to 65535, and nothing around them. Throws
/// std::invalid_argument with a sentence for people.
Endpoint ParseEndpoint(std::string_view text);

/// The same text again.
std::string ToText(const Endpoint& endpoint);

} // namespace Lab::Net
