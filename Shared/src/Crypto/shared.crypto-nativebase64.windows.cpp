#include "shared.crypto-nativebase64.hpp"

#include <limits>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include "shared.platform-windows.windows.hpp"

#include <wincrypt.h>

namespace Shared::Crypto::Native
{

std::string EncodeBase64(std::span<const std::uint8_t> bytes)
{
    constexpr DWORD Form = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
    if (bytes.size() > std::numeric_limits<DWORD>::max() / 2)
    {
        throw Exception::Win32Exception(
            "CryptBinaryToStringA() failed when calculating size", ERROR_ARITHMETIC_OVERFLOW);
    }
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD length = 0;
    if (::CryptBinaryToStringA(bytes.data(), size, Form, nullptr, &length) == FALSE)
    {
        throw Exception::Win32Exception("CryptBinaryToStringA() failed when calculating size", Platform::LastError());
    }
    // With the terminator, which the second call does not count.
    std::string text(length, '\0');
    if (::CryptBinaryToStringA(bytes.data(), size, Form, text.data(), &length) == FALSE)
    {
        throw Exception::Win32Exception("CryptBinaryToStringA() failed when encoding", Platform::LastError());
    }
    text.resize(length);
    return text;
}

std::vector<std::uint8_t> DecodeBase64(std::string_view blocks)
{
    constexpr const char* Failure = "CryptStringToBinaryA failed";
    if (blocks.size() > std::numeric_limits<DWORD>::max())
    {
        throw Exception::RuntimeException(Failure);
    }
    const auto length = static_cast<DWORD>(blocks.size());
    DWORD size = 0;
    if (::CryptStringToBinaryA(blocks.data(), length, CRYPT_STRING_BASE64, nullptr, &size, nullptr, nullptr) == FALSE)
    {
        throw Exception::RuntimeException(Failure);
    }
    std::vector<std::uint8_t> bytes(size);
    if (::CryptStringToBinaryA(blocks.data(), length, CRYPT_STRING_BASE64, bytes.data(), &size, nullptr, nullptr) ==
        FALSE)
    {
        throw Exception::RuntimeException(Failure);
    }
    bytes.resize(size);
    return bytes;
}

} // namespace Shared::Crypto::Native
