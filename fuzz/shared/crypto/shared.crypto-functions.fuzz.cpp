// Any text as base64, as a ciphertext and as a plain text, under any key; any bytes as a BIOS serial number.
//   First byte: how many of the following bytes are the key (0 to 15). The rest is the text.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.require.hpp"
#include "shared.crypto-functions.hpp"
#include "shared.crypto-registrationkey.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.util-utf8.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::Crypto;
using Bytes = std::vector<std::uint8_t>;

/// Bit by bit, where the product lets the system decode blocks.
std::optional<Bytes> DecodeSlowly(std::string_view text)
{
    constexpr std::string_view symbols = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::uint32_t bits = 0;
    std::size_t count = 0;
    std::size_t padding = 0;
    Bytes bytes;
    for (const char character : text)
    {
        if (std::string_view(" \t\r\n").find(character) != std::string_view::npos)
        {
            continue;
        }
        if (character == '=')
        {
            if (count % 4 == 0 || (count + ++padding) % 4 == 0)
            {
                break;
            }
            continue;
        }
        const std::size_t value = symbols.find(character);
        if (value == std::string_view::npos || padding != 0)
        {
            return std::nullopt;
        }
        bits = (bits << 6) | static_cast<std::uint32_t>(value);
        ++count;
        if (count % 4 != 1)
        {
            const auto left = (3 - (count - 1) % 4) * 2;
            bytes.push_back(static_cast<std::uint8_t>(bits >> left));
        }
    }
    const bool isWhole = padding == 0 || (count + padding) % 4 == 0;
    return isWhole && count % 4 != 1 ? std::optional(bytes) : std::nullopt;
}

std::optional<Bytes> Decode(std::string_view text)
{
    try
    {
        return ToBinary(text);
    }
    catch (const std::runtime_error&)
    {
        return std::nullopt;
    }
}

void CheckBase64(std::string_view text)
{
    const std::optional<Bytes> bytes = Decode(text);
    Require(bytes == DecodeSlowly(text));
    if (bytes)
    {
        Require(ToBinary(ToBase64String(*bytes)) == *bytes);
    }
    const Bytes raw(text.begin(), text.end());
    Require(ToBinary(ToBase64String(raw)) == raw);
}

void CheckDecrypt(std::string_view text, std::string_view key)
{
    const std::optional<Bytes> bytes = Decode(text);
    try
    {
        const SensitiveNarrowString plain = Decrypt(text, key);
        // Each ciphertext has one plain text, and each plain text one ciphertext.
        Require(bytes && Encrypt(plain.GetView(), key) == ToBase64String(*bytes));
    }
    catch (const Shared::Exception::NtStatusException&)
    {
        Require(bytes.has_value());
    }
    catch (const std::runtime_error&)
    {
        Require(!bytes);
    }
}

void CheckRegistrationKey(std::string_view serial)
{
    const std::string key = MakeRegistrationKey(serial);
    const std::string constant = MakeRegistrationKey("");
    Require(key.size() <= LongestRegistrationKey && key.starts_with(constant));
    const std::string valid = constant + Shared::Util::Utf8::DropInvalid(serial);
    Require(valid.starts_with(key) && Shared::Util::Utf8::DropInvalid(key) == key);
    Require(key.size() == valid.size() || key.size() + 4 > LongestRegistrationKey);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const std::string_view all(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t keySize = std::min<std::size_t>(data[0] & 15U, all.size());
    const std::string_view key = all.substr(0, keySize);
    const std::string_view text = all.substr(keySize);
    CheckBase64(text);
    CheckDecrypt(text, key);
    Require(Decrypt(Encrypt(text, key), key).GetView() == text);
    CheckRegistrationKey(text);
    return 0;
}
