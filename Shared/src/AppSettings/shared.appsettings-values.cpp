#include "shared.appsettings-values.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.crypto-functions.hpp"
#include "shared.util-utf8.hpp"
#include "shared.winreg-functions.hpp"

namespace Shared::AppSettings
{

namespace
{

using WinReg::Root;

template <typename T>
T AbsentOr(const Setting& row, T otherwise)
{
    const auto* const absent = std::get_if<T>(&row.absent);
    return absent != nullptr ? *absent : otherwise;
}

} // namespace

std::optional<std::wstring> TryReadText(TextValue value)
{
    const Setting& row = value.GetRow();
    std::wstring text;
    return WinReg::TryGetStringValue(Root::LocalMachine, PathOf(row.key), row.name, text)
        ? std::optional(std::move(text))
        : std::nullopt;
}

std::wstring ReadText(TextValue value)
{
    std::optional<std::wstring> text = TryReadText(value);
    return text ? std::move(*text) : std::wstring(AbsentOr(value.GetRow(), L""));
}

std::wstring RequireText(TextValue value)
{
    const Setting& row = value.GetRow();
    return WinReg::GetStringValue(Root::LocalMachine, PathOf(row.key), row.name);
}

std::uint32_t ReadNumber(NumberValue value)
{
    const Setting& row = value.GetRow();
    std::uint32_t number = 0;
    return WinReg::TryGetDwordValue(Root::LocalMachine, PathOf(row.key), row.name, number)
        ? number
        : AbsentOr(row, std::uint32_t{0});
}

std::uint32_t RequireNumber(NumberValue value)
{
    const Setting& row = value.GetRow();
    return WinReg::GetDwordValue(Root::LocalMachine, PathOf(row.key), row.name);
}

void Write(TextValue value, const std::wstring& text)
{
    const Setting& row = value.GetRow();
    WinReg::SetStringValue(Root::LocalMachine, PathOf(row.key), row.name, text);
}

void Write(NumberValue value, std::uint32_t number)
{
    const Setting& row = value.GetRow();
    WinReg::SetDwordValue(Root::LocalMachine, PathOf(row.key), row.name, number);
}

void Delete(Value value)
{
    const Setting& row = RowOf(value);
    WinReg::DeleteValue(Root::LocalMachine, PathOf(row.key), row.name);
}

Crypto::SensitiveString Decipher(std::wstring_view enciphered, const Crypto::SensitiveString& key)
{
    const Crypto::SensitiveNarrowString narrowKey = Crypto::ToUtf8(key);
    const Crypto::SensitiveNarrowString plain = Crypto::Decrypt(Util::Utf8::Encode(enciphered), narrowKey.GetView());
    return Crypto::ToSensitiveString(plain.GetView());
}

void WriteEnciphered(TextValue value, std::wstring_view plain, const Crypto::SensitiveString& key)
{
    const Crypto::SensitiveNarrowString narrowKey = Crypto::ToUtf8(key);
    std::string utf8 = Util::Utf8::Encode(plain);
    const Crypto::WipeOnExit wipe(utf8);
    Write(value, Util::Utf8::Decode(Crypto::Encrypt(utf8, narrowKey.GetView())));
}

} // namespace Shared::AppSettings
