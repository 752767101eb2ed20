// Any text as a server, as a log target and as a log level. The server is taken apart a second way.
//   The whole input is the text.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "fuzz.require.hpp"
#include "shared.appsettings-appsettingsloader.hpp"
#include "shared.util-functions.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
namespace Settings = Shared::AppSettings;

/// Character by character, where the product searches and replaces.
std::wstring Without(const std::wstring& text, std::wstring_view gone)
{
    std::wstring left;
    for (std::size_t i = 0; i < text.size();)
    {
        if (text.compare(i, gone.size(), gone) == 0)
        {
            i += gone.size();
        }
        else
        {
            left.push_back(text[i++]);
        }
    }
    return left;
}

struct HostAndPort
{
    std::wstring host;
    std::uint32_t port;
};

std::optional<HostAndPort> TakeApart(const std::wstring& raw)
{
    std::wstring text = Without(Without(Without(raw, L"https://"), L"http://"), L"\"");
    if (!text.empty() && text.back() == L'/')
    {
        text.erase(text.size() - 1);
    }
    const std::size_t colon = text.find(L':');
    if (text.empty())
    {
        return std::nullopt;
    }
    if (colon == std::wstring::npos)
    {
        return HostAndPort{text, 443};
    }
    const std::wstring port = text.substr(colon + 1);
    if (port.empty() || port.size() > 5 || port.find_first_not_of(L"0123456789") != std::wstring::npos)
    {
        return std::nullopt;
    }
    const int number = std::stoi(port);
    return number >= 1 && number <= 65535
        ? std::optional(HostAndPort{text.substr(0, colon), static_cast<std::uint32_t>(number)})
        : std::nullopt;
}

void CheckServer(const std::wstring& text)
{
    Settings::AppSettings settings;
    settings.serverRaw = text;
    const std::optional<HostAndPort> expected = TakeApart(text);
    try
    {
        Settings::SetServerAndPort(settings);
        Require(expected && settings.server == expected->host && settings.port == expected->port);
    }
    catch (const std::runtime_error&)
    {
        Require(!expected && settings.server.empty() && settings.port == 443);
    }
    Require(settings.serverRaw == text);
}

void CheckLogTexts(const std::wstring& text)
{
    const std::wstring lowered = Shared::Util::ToLower(std::wstring_view(text));
    const auto target = Settings::ParseLogTarget(text);
    Require((target == Settings::LogTarget::EventLog) == (lowered == L"eventlog"));
    Require((target == Settings::LogTarget::Console) == (lowered == L"console"));

    constexpr std::array<std::array<const wchar_t*, 2>, 6> names = {
        {{L"trace", L"trace"},
         {L"debug", L"debug"},
         {L"info", L"info"},
         {L"warning", L"warn"},
         {L"error", L"err"},
         {L"critical", L"critical"}}};
    const std::uint32_t level = Settings::ParseLogLevel(text);
    Require(level < names.size());
    for (std::uint32_t i = 0; i < names.size(); ++i)
    {
        const bool isNamed = lowered == names[i][0] || lowered == names[i][1];
        Require(!isNamed || level == i);
        Require(isNamed || level != i || i == 2);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::wstring text =
        Shared::Util::ConvertStringType(std::string_view(reinterpret_cast<const char*>(data), size));
    CheckServer(text);
    CheckLogTexts(text);
    return 0;
}
