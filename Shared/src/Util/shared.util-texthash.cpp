#include "shared.util-texthash.hpp"

#include "shared.util-functions.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

namespace Shared::Util
{

namespace
{

constexpr std::uint64_t Ones = 0x0101010101010101;
constexpr std::uint64_t HighBits = 0x80 * Ones;

std::uint64_t GetSeed() noexcept
{
    constexpr std::int32_t Most = std::numeric_limits<std::int32_t>::max();
    static const std::uint64_t Seed = (static_cast<std::uint64_t>(GeneratePseudorandomInt(0, Most)) << 32) ^
        static_cast<std::uint64_t>(GeneratePseudorandomInt(0, Most));
    return Seed;
}

std::uint64_t KeepCase(std::uint64_t bytes) noexcept
{
    return bytes;
}

/// Eight characters at once. What is added carries into a byte's high bit exactly from the one or the other letter on.
std::uint64_t LowerCase(std::uint64_t bytes) noexcept
{
    const std::uint64_t low = bytes & ~HighBits;
    const std::uint64_t fromA = low + (0x80 - 'A') * Ones;
    const std::uint64_t behindZ = low + (0x7F - 'Z') * Ones;
    const std::uint64_t isUpper = (fromA ^ behindZ) & ~bytes & HighBits;
    return bytes | (isUpper >> 2);
}

template <typename Change>
std::size_t HashEights(std::string_view text, const Change& change) noexcept
{
    constexpr std::uint64_t Mixer = 0x9E3779B97F4A7C15;
    std::uint64_t hash = GetSeed() ^ text.size();
    while (!text.empty())
    {
        std::uint64_t word = 0;
        const std::size_t taken = std::min(text.size(), sizeof word);
        std::memcpy(&word, text.data(), taken);
        text.remove_prefix(taken);
        hash = (hash ^ change(word)) * Mixer;
        hash ^= hash >> 32;
    }
    return static_cast<std::size_t>(hash);
}

} // namespace

std::size_t TextHash::operator()(std::string_view text) const noexcept
{
    return HashEights(text, &KeepCase);
}

std::size_t CaseBlindHash::operator()(std::string_view text) const noexcept
{
    return HashEights(text, &LowerCase);
}

bool CaseBlindEqual::operator()(std::string_view first, std::string_view second) const noexcept
{
    return EqualsIgnoreCase(first, second);
}

} // namespace Shared::Util
