#include "shared.appsettings-functions.hpp"

#include "shared.appsettings-values.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-standarderror.hpp"
#include "shared.system-machineid.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-retrydelay.hpp"
#include "shared.util-time.hpp"

#include <algorithm>
#include <charconv>
#include <exception>
#include <system_error>

#include <fmt/format.h>

namespace Shared::AppSettings
{

namespace
{

/// A minimum of 0 seconds in the settings must not turn a retry into a busy loop.
constexpr std::uint32_t ShortestRetryDelayMs = 1000;

Util::RetryDelayLimits ReadRetryDelayLimits()
{
    Util::RetryDelayLimits limits;
    limits.maximumSeconds = ReadNumber(Value::MaximumRetryDelaySeconds);
    limits.minimumSeconds = ReadNumber(Value::MinimumRetryDelaySeconds);
    limits.multiplier = GetRetryDelayMultiplier();
    return limits;
}

/// A value that is a time span, and what is logged where it is missing or none.
struct SpanSetting
{
    TextValue value;
    std::wstring_view absent;
    const char* missing;
    const char* failed;
};

constexpr SpanSetting RandomisationPeriod = {
    Value::TransmissionRandomisationPeriod, DefaultText(Value::TransmissionRandomisationPeriod),
    "Using default value for TransmissionRandomisationPeriod", "GetTransmissionRandomisationPeriod() failed"};

constexpr SpanSetting ResponseTimeout = {
    Value::ResponseTimeout, DefaultText(Value::ResponseTimeout), "Using default value for ResponseTimeout",
    "GetResponseTimeout() failed"};

std::chrono::milliseconds ReadTimeSpan(const SpanSetting& setting)
{
    try
    {
        if (const std::optional<std::wstring> text = TryReadText(setting.value))
        {
            return Util::ParseTimeSpan(*text);
        }
        Log::Info("{}", setting.missing);
    }
    catch (const std::exception& exception)
    {
        Log::LogException(setting.failed, exception);
    }
    return Util::ParseTimeSpan(setting.absent);
}

std::wstring Widen(std::string_view text)
{
    return Util::ConvertStringType(text);
}

} // namespace

std::wstring GetInstalledVersion()
{
    return RequireText(Value::InstalledVersion);
}

void SetTargetVersion(const std::wstring& version)
{
    Write(Value::TargetVersion, version);
}

void EnableAutoUpdate()
{
    try
    {
        Write(Value::AutoUpdate, 1);
    }
    catch (const std::exception& exception)
    {
        Platform::PrintToStandardError(
            std::string_view(fmt::format("Failed to set AutoUpdates registry value: {}\n", exception.what())));
    }
}

std::wstring GetMachineGuid()
{
    if (std::optional<std::wstring> guid = TryReadText(Value::MachineGuid))
    {
        return std::move(*guid);
    }
    if (std::optional<std::wstring> guid = System::ReadMachineId())
    {
        return std::move(*guid);
    }
    throw Exception::RuntimeException("Failed to get the machine guid from the registry");
}

double GetRetryDelayMultiplier()
{
    const std::optional<std::wstring> text = TryReadText(Value::RetryDelayMultiplier);
    const std::optional<double> multiplier = text ? ParseFraction(*text) : std::nullopt;
    if (text && !multiplier)
    {
        Log::Warn("Failed converting RetryDelayMultiplier");
    }
    return multiplier ? *multiplier : *ParseFraction(DefaultText(Value::RetryDelayMultiplier));
}

std::uint32_t CalculateRetryDelay(std::uint32_t attempt)
{
    static const Util::RetryDelayLimits s_limits = ReadRetryDelayLimits();
    return std::max(Util::CalculateRetryDelayMs(attempt, s_limits), ShortestRetryDelayMs);
}

std::uint32_t GetPingTimeoutMs()
{
    return ReadNumber(Value::PingTimeoutMs);
}

std::chrono::milliseconds GetTransmissionRandomisationPeriod()
{
    return ReadTimeSpan(RandomisationPeriod);
}

std::chrono::seconds GetResponseTimeout()
{
    return std::chrono::floor<std::chrono::seconds>(ReadTimeSpan(ResponseTimeout));
}

bool UpdateLastConnectedTime(std::int64_t& epochSeconds)
{
    try
    {
        const Time::UtcTime now = Time::UtcNow();
        Write(Value::LastConnectedTime, Widen(Util::FormatTimeText(now, Util::ZoneForm::Padded)));
        epochSeconds = std::chrono::floor<std::chrono::seconds>(now).time_since_epoch().count();
        return true;
    }
    catch (const std::exception& exception)
    {
        Log::LogException("UpdateLastConnectedTime() failed", exception);
        return false;
    }
}

std::string GetLastNotificationRetrieval()
{
    const std::optional<std::wstring> text = TryReadText(Value::LastNotificationRetrieval);
    return text ? Util::ConvertStringType(*text) : Util::FormatTimeText(Time::UtcNow());
}

void SetLastNotificationRetrieval(std::string_view timeText, ExistingValue existing)
{
    if (existing == ExistingValue::Keep && TryReadText(Value::LastNotificationRetrieval))
    {
        return;
    }
    Write(Value::LastNotificationRetrieval, Widen(timeText));
}

bool GetSelfServiceEnabled()
{
    return ReadNumber(Value::SelfServiceEnabled) != 0;
}

bool SetSelfServiceEnabled(bool isEnabled)
{
    try
    {
        Write(Value::SelfServiceEnabled, isEnabled ? 1U : 0U);
        return true;
    }
    catch (const std::exception& exception)
    {
        Log::LogException("SetSelfServiceEnabled() failed", exception);
        return false;
    }
}

std::optional<double> ParseFraction(std::wstring_view text)
{
    const std::string narrow = Util::ConvertStringType(text);
    std::string_view digits = narrow;
    digits.remove_prefix(std::min(digits.find_first_not_of(" \t\r\n\v\f"), digits.size()));
    if (digits.starts_with('+') && !digits.starts_with("+-"))
    {
        digits.remove_prefix(1);
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() ? std::optional(value) : std::nullopt;
}

} // namespace Shared::AppSettings
