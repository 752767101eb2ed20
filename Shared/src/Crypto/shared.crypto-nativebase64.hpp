#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Base64 by the system: for the code of this folder. Everybody else uses shared.crypto-functions.hpp.
namespace Shared::Crypto::Native
{

/// The base64 text of at least one byte, in one line. Throws Win32Exception "CryptBinaryToStringA() failed when
/// calculating size" or "CryptBinaryToStringA() failed when encoding".
std::string EncodeBase64(std::span<const std::uint8_t> bytes);

/// The bytes of at least one whole block of base64: symbols alone, padding only at the end of the last block. Throws the
/// runtime exception "CryptStringToBinaryA failed".
std::vector<std::uint8_t> DecodeBase64(std::string_view blocks);

} // namespace Shared::Crypto::Native
