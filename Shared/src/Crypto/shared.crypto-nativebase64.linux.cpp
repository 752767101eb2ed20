#include "shared.crypto-nativebase64.hpp"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "shared.exception-exceptions.hpp"

#include <openssl/evp.h>

namespace Shared::Crypto::Native
{

namespace
{

constexpr std::size_t LargestLength = std::numeric_limits<int>::max();

} // namespace

std::string EncodeBase64(std::span<const std::uint8_t> bytes)
{
    const std::size_t length = (bytes.size() + 2) / 3 * 4;
    if (length >= LargestLength)
    {
        throw Exception::Win32Exception("CryptBinaryToStringA() failed when calculating size", EOVERFLOW);
    }
    // The library writes a terminator, where the string has its own.
    std::string text(length, '\0');
    const int written =
        ::EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    if (written != static_cast<int>(length))
    {
        throw Exception::Win32Exception("CryptBinaryToStringA() failed when encoding", EINVAL);
    }
    return text;
}

std::vector<std::uint8_t> DecodeBase64(std::string_view blocks)
{
    constexpr const char* Failure = "CryptStringToBinaryA failed";
    if (blocks.size() >= LargestLength)
    {
        throw Exception::RuntimeException(Failure);
    }
    std::vector<std::uint8_t> bytes(blocks.size() / 4 * 3);
    const int written = ::EVP_DecodeBlock(
        bytes.data(), reinterpret_cast<const unsigned char*>(blocks.data()), static_cast<int>(blocks.size()));
    if (written < 0)
    {
        throw Exception::RuntimeException(Failure);
    }
    // The library counts padding as bytes of zero.
    const auto padding = std::count(blocks.end() - 2, blocks.end(), '=');
    bytes.resize(static_cast<std::size_t>(written) - static_cast<std::size_t>(padding));
    return bytes;
}

} // namespace Shared::Crypto::Native
