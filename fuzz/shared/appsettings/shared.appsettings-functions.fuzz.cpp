// Any text as a number with a point, against the C library's conversion.
//   The whole input is the text.

#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz.require.hpp"
#include "shared.appsettings-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-retrydelay.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;

bool IsHexadecimal(const std::string& text)
{
    const std::size_t start = text.find_first_not_of(" \t\r\n\v\f+-");
    return start != std::string::npos && text.size() > start + 1 && text[start] == '0' &&
        (text[start + 1] == 'x' || text[start + 1] == 'X');
}

void CheckFraction(const std::wstring& wide)
{
    const std::optional<double> value = Shared::AppSettings::ParseFraction(wide);
    const std::string text = Shared::Util::ConvertStringType(wide);
    char* end = nullptr;
    errno = 0;
    const double expected = std::strtod(text.c_str(), &end);
    const bool isOutOfRange = errno == ERANGE;
    if (!value)
    {
        Require(end == text.c_str() || isOutOfRange);
    }
    else if (!IsHexadecimal(text))
    {
        Require(end != text.c_str());
        Require(std::isnan(expected) ? std::isnan(*value) : *value == expected);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::wstring text =
        Shared::Util::ConvertStringType(std::string_view(reinterpret_cast<const char*>(data), size));
    CheckFraction(text);
    // Whatever number it is, a delay comes of it.
    Shared::Util::RetryDelayLimits limits;
    limits.multiplier = Shared::AppSettings::ParseFraction(text).value_or(limits.multiplier);
    const std::uint32_t attempt = static_cast<std::uint32_t>(size) * 3;
    const std::uint32_t delay = Shared::Util::CalculateRetryDelayMs(attempt, limits);
    Require(delay >= 30'000 && delay <= 3'600'000);
    return 0;
}
