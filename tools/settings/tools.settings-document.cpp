// Writes docs/settings.md of the table of settings, or tells whether the file is that of the table.
//   settings-document --write FILE
//   settings-document --check FILE    ends with 1 if it is not

#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-table.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <variant>

#include <fmt/format.h>

namespace
{

namespace Settings = Shared::AppSettings;
using Settings::Setting;
using Settings::SettingsKey;
using Settings::ValueType;
using Shared::Util::ConvertStringType;

constexpr int WrongUse = 2;

constexpr const char* Introduction = R"(# Settings

<!-- Written of the table in the code (shared.appsettings-table.hpp) by settings-document --write docs/settings.md -->

All that the agent keeps outlives it in the system's registry: on Windows the registry, on Linux the settings store, one
file with the same keys, names and types (see [platform.md](platform.md)). All keys are below `HKEY_LOCAL_MACHINE`; names
are compared without regard to case. A value that is missing, or of another type than told here, has the default; where
there is none, "Meaning" says what follows. Nothing is cached but where it says so: what is changed counts from the next
time that it is read.

Texts of type "text, enciphered" are AES-256 in CBC mode with block padding and an initialisation vector of zeros, in
base64. The AES key is the SHA-256 digest of the registration key, which is made of a constant part and this machine's BIOS
serial number: such a value opens on the machine that wrote it and on no other. On Linux only root can read the serial
number, and without it the constant part alone is the key: agent and VPN client must run under accounts that see the same.

A time text is UTC, "yyyyMMdd-HH:mm:ss.", milliseconds without padding, and the offset of the local time zone without
daylight saving in minutes: "20240307-21:04:09.5+120". A time span is "hours:minutes:seconds", at most 23:59:60.
)";

struct KeyText
{
    SettingsKey key;
    std::wstring path;
    const char* remark;
};

std::array<KeyText, 6> KeyTexts()
{
    const std::wstring vpn = L"<VPN key>";
    return {
        {{SettingsKey::Config, Settings::Paths::Config, "What the installer and the registration lay down."},
         {SettingsKey::Agent, Settings::Paths::Agent,
          "What the agent and its updater tell each other. The agent watches this key."},
         {SettingsKey::VpnVel, vpn + L"\\VEL",
          "What the VPN client tells the agent. The VPN key is `SOFTWARE\\Tarvane\\Ostra Access` when it can be opened, "
          "else `SOFTWARE\\Tarvane\\Norvik`; the choice is made at the first use and kept until the agent ends."},
         {SettingsKey::Vpn, vpn, "What the VPN client tells of itself."},
         {SettingsKey::VpnSetup, vpn + L"\\TvnSetup", "What the VPN client's set-up tells."},
         {SettingsKey::Machine, Settings::Paths::Machine, "What the system tells."}}};
}

std::string_view TextOf(ValueType type)
{
    switch (type)
    {
    case ValueType::Text:
        return "text";
    case ValueType::EncipheredText:
        return "text, enciphered";
    case ValueType::Number:
        return "DWORD";
    case ValueType::Fraction:
        return "text, a number with a point";
    case ValueType::TimeSpan:
        return "text, a time span";
    case ValueType::TimeText:
        return "text, a time text";
    }
    return {};
}

std::string TextOf(const Settings::Absent& absent)
{
    if (const auto* const number = std::get_if<std::uint32_t>(&absent))
    {
        return std::to_string(*number);
    }
    if (const auto* const text = std::get_if<const wchar_t*>(&absent))
    {
        const std::string narrow = ConvertStringType(std::wstring_view(*text));
        return narrow.empty() ? "empty" : "`" + narrow + "`";
    }
    return "none";
}

std::string Render()
{
    std::string document = Introduction;
    for (const KeyText& key : KeyTexts())
    {
        document += fmt::format(
            "\n## {}\n\n{}\n\n| Value | Type | Default | Read by | Written by | Meaning |\n|---|---|---|---|---|---|\n",
            ConvertStringType(key.path), key.remark);
        for (const Setting& row : Settings::Table)
        {
            if (row.key == key.key)
            {
                document += fmt::format(
                    "| `{}` | {} | {} | {} | {} | {} |\n", ConvertStringType(std::wstring_view(row.name)),
                    TextOf(row.type), TextOf(row.absent), row.reader, row.writer, row.meaning);
            }
        }
    }
    return document;
}

bool Write(const std::string& file)
{
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << Render();
    return out.good();
}

bool IsUpToDate(const std::string& file)
{
    std::ifstream in(file, std::ios::binary);
    return in.good() && std::string(std::istreambuf_iterator<char>(in), {}) == Render();
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view command = argc == 3 ? argv[1] : "";
    if (command == "--write")
    {
        if (!Write(argv[2]))
        {
            std::cerr << argv[2] << " cannot be written\n";
            return 1;
        }
        return 0;
    }
    if (command == "--check")
    {
        if (!IsUpToDate(argv[2]))
        {
            std::cerr << argv[2] << " is not that of the table in the code: settings-document --write " << argv[2]
                      << '\n';
            return 1;
        }
        return 0;
    }
    std::cerr << "settings-document --write FILE\nsettings-document --check FILE\n";
    return WrongUse;
}
