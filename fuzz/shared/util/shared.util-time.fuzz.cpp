// Any text as a time span, any moment and bias as a time text, and any limits of the delays between retries.
//   The whole input is the text. Its first 12 bytes are also the moment (8, nanoseconds) and the bias (4), its first 20 the
//   multiplier (8), the attempt, the minimum and the maximum (4 each).

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <regex>
#include <stdexcept>
#include <string>

#include "fuzz.require.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-retrydelay.hpp"
#include "shared.util-time.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::Util;

void CheckTimeSpan(const std::wstring& text)
{
    static const std::wregex form{L"([0-9]|[01][0-9]|2[0-3]):([0-5]?[0-9]):([0-5]?[0-9]|60)"};
    std::wsmatch parts;
    // The expression's matcher recurses, so long texts are no food for it; they are no time spans either.
    const bool fits = text.size() < 20 && std::regex_match(text, parts, form);
    try
    {
        const auto span = ParseTimeSpan(text);
        Require(fits);
        Require(
            span == std::chrono::seconds{std::stol(parts[1]) * 3600 + std::stol(parts[2]) * 60 + std::stol(parts[3])});
    }
    catch (const std::runtime_error& exception)
    {
        Require(!fits);
        // what() ends at the first null character, as every text of that form does.
        const auto named = ConvertStringType(text.substr(0, text.find(L'\0')));
        Require(std::string{exception.what()}.find("Could not parse TimeSpan " + named) != std::string::npos);
    }
}

void CheckTimeText(std::int64_t nanoseconds, std::int32_t bias)
{
    const Shared::Time::UtcTime time{std::chrono::nanoseconds{nanoseconds}};
    const auto text = FormatTimeText(time, bias, ZoneForm::Unpadded);
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int milliseconds = 0;
    long long offset = 0;
    Require(
        std::sscanf(
            text.c_str(), "%4d%2u%2u-%2d:%2d:%2d.%d%lld", &year, &month, &day, &hours, &minutes, &seconds,
            &milliseconds, &offset) == 8);
    const std::chrono::sys_days date{std::chrono::year{year} / static_cast<int>(month) / static_cast<int>(day)};
    const auto read = std::chrono::sys_time<std::chrono::milliseconds>{date} + std::chrono::hours{hours} +
        std::chrono::minutes{minutes} + std::chrono::seconds{seconds} + std::chrono::milliseconds{milliseconds};
    Require(read == std::chrono::floor<std::chrono::milliseconds>(time));
    Require(offset == -static_cast<long long>(bias));
    Require(FormatTimeText(time, bias, ZoneForm::Padded).size() >= text.size());
}

void CheckRetryDelay(double multiplier, std::uint32_t attempt, std::uint32_t minimum, std::uint32_t maximum)
{
    const auto delay = CalculateRetryDelayMs(attempt, {multiplier, minimum, maximum});
    Require(delay != 0xFFFFFFFF);
    Require(delay % 1000 == 0 || delay == 0xFFFFFFFE);
    Require(delay >= std::min<std::uint64_t>(std::uint64_t{minimum} * 1000, 0xFFFFFFFE));
    Require(delay <= std::uint64_t{std::max(minimum, maximum)} * 1000);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CheckTimeSpan(ConvertStringType(std::string{reinterpret_cast<const char*>(data), size}));

    std::int64_t nanoseconds = 0;
    std::int32_t bias = 0;
    if (size >= sizeof(nanoseconds) + sizeof(bias))
    {
        std::memcpy(&nanoseconds, data, sizeof(nanoseconds));
        std::memcpy(&bias, data + sizeof(nanoseconds), sizeof(bias));
        CheckTimeText(nanoseconds, bias);
    }
    double multiplier = 0;
    std::uint32_t limits[3]{};
    if (size >= sizeof(multiplier) + sizeof(limits))
    {
        std::memcpy(&multiplier, data, sizeof(multiplier));
        std::memcpy(limits, data + sizeof(multiplier), sizeof(limits));
        CheckRetryDelay(multiplier, limits[0], limits[1], limits[2]);
    }
    return 0;
}
