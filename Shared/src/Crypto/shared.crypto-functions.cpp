#include "shared.crypto-functions.hpp"

#include "shared.crypto-aes.hpp"
#include "shared.crypto-nativebase64.hpp"
#include "shared.crypto-sha256.hpp"
#include "shared.exception-exceptions.hpp"

#include <optional>

namespace Shared::Crypto
{

namespace
{

constexpr std::size_t BlockSymbols = 4;
constexpr char Padding = '=';

bool IsBlank(char character)
{
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

bool IsSymbol(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
        (character >= '0' && character <= '9') || character == '+' || character == '/';
}

bool AreWholeBlocks(std::size_t symbols)
{
    return symbols % BlockSymbols == 0;
}

/// The text in the one form that all decoders agree on: symbols alone, padded to whole blocks. Nothing when it is no
/// base64.
std::optional<std::string> ToWholeBlocks(std::string_view text)
{
    std::string symbols;
    symbols.reserve(text.size() + BlockSymbols);
    std::size_t padding = 0;
    for (const char character : text)
    {
        if (IsBlank(character))
        {
            continue;
        }
        if (character == Padding)
        {
            // Behind whole blocks it stands for nothing but the end.
            padding += AreWholeBlocks(symbols.size()) ? 0 : 1;
            if (AreWholeBlocks(symbols.size() + padding))
            {
                break;
            }
            continue;
        }
        if (padding != 0 || !IsSymbol(character))
        {
            return std::nullopt;
        }
        symbols.push_back(character);
    }
    const bool isPaddedWrongly = padding != 0 && !AreWholeBlocks(symbols.size() + padding);
    const std::size_t ofLastBlock = symbols.size() % BlockSymbols;
    if (isPaddedWrongly || ofLastBlock == 1)
    {
        return std::nullopt;
    }
    symbols.append(ofLastBlock == 0 ? 0 : BlockSymbols - ofLastBlock, Padding);
    return symbols;
}

std::span<const std::uint8_t> BytesOf(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

} // namespace

std::string Encrypt(std::string_view plain, std::string_view key)
{
    const Aes aes(Sha256(key).GetDigest());
    return ToBase64String(aes.Encrypt(BytesOf(plain)));
}

SensitiveNarrowString Decrypt(std::string_view base64, std::string_view key)
{
    const std::vector<std::uint8_t> cipher = ToBinary(base64);
    const Aes aes(Sha256(key).GetDigest());
    const SensitiveBytes plain = aes.Decrypt(cipher);
    return SensitiveNarrowString(std::string_view(reinterpret_cast<const char*>(plain.data()), plain.size()));
}

std::string ToBase64String(std::span<const std::uint8_t> bytes)
{
    return bytes.empty() ? std::string() : Native::EncodeBase64(bytes);
}

std::vector<std::uint8_t> ToBinary(std::string_view text)
{
    const std::optional<std::string> blocks = ToWholeBlocks(text);
    if (!blocks)
    {
        throw Exception::RuntimeException("CryptStringToBinaryA failed");
    }
    return blocks->empty() ? std::vector<std::uint8_t>() : Native::DecodeBase64(*blocks);
}

} // namespace Shared::Crypto
