#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Small functions that all of the agent uses. All may be called from any thread and keep no state.
namespace Shared::Util
{

/// Wide text to UTF-8, the one conversion of the agent. A surrogate without its partner is dropped (see
/// shared.util-utf8.hpp for what else is); null characters are kept; empty gives empty.
/// Throws Win32Exception "ConvertWStringToString(): WideCharToMultiByte() [1] failed" or "... [2] failed" when the
/// system refuses, as Windows does for more than 2 GB.
std::string ConvertStringType(std::wstring_view text);

/// UTF-8 to wide text. Bytes of no well-formed sequence are dropped. Throws Win32Exception "MultiByteToWideChar() [1]
/// failed" or "MultiByteToWideChar() [2] failed".
std::wstring ConvertStringType(std::string_view text);

/// `text` with the letters A to Z in lower case and everything else as it stands, whatever the locale: how the agent
/// compares names, and the same on both platforms.
std::string ToLower(std::string_view text);
std::wstring ToLower(std::wstring_view text);

/// Whether both are equal in length and content once both are lower-cased by ToLower().
bool EqualsIgnoreCase(std::string_view first, std::string_view second);
bool EqualsIgnoreCase(std::wstring_view first, std::wstring_view second);

/// The pieces between the separators, in order. An empty text gives none; the piece behind the last separator is one,
/// an empty one too. An empty separator separates nothing.
std::vector<std::string> Split(std::string_view text, std::string_view separator);
std::vector<std::wstring> Split(std::wstring_view text, std::wstring_view separator);

/// `text` with all occurrences of `from` replaced by `to`, left to right; what was put in is not searched again. An
/// empty `from` occurs nowhere.
std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to);
std::wstring ReplaceAll(std::wstring_view text, std::wstring_view from, std::wstring_view to);

/// The address next to `address`, for pinging the other end of a tunnel: the last of its four parts one higher, or 253
/// when it is 254. The first three parts are taken over without a look.
/// Throws the invalid-argument exception "IpV4 address is an unexpected IP: " and the address unless there are exactly
/// four parts and the last is a number from 1 to 254.
std::wstring ConstructAdjacentIpV4(std::wstring_view address);

/// A uniform number from `low` to `high`, both included, from a fresh Mersenne Twister that the system's random device
/// seeded. Failure gives 0; `low` above `high` is one. Not for secrets.
std::int32_t GeneratePseudorandomInt(std::int32_t low, std::int32_t high) noexcept;

/// A GUID in the system's memory layout.
struct RawGuid
{
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::array<std::uint8_t, 8> data4{};
};

/// The text form of the registry, with braces and in upper case: "{6B29FC40-CA47-1067-B31D-00DD010662DA}". Throws the
/// runtime exception "StringFromGUID2() failed".
std::wstring ConvertRawGuid(const RawGuid& guid);

/// A new random GUID in that form. Throws ComException "CoCreateGuid() failed" (with an errno on Linux), and as above.
std::wstring GenerateGuid();

/// Full path of the running executable. Throws Win32Exception "GetCurrentExecutablePath() failed".
std::wstring GetCurrentExecutablePath();

/// Its directory, without a separator at the end unless it is a root. Throws Win32Exception
/// "GetCurrentExecutableDirectory() failed".
std::wstring GetCurrentExecutableDirectory();

} // namespace Shared::Util
