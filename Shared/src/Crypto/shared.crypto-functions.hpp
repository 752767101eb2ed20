#pragma once

#include "shared.crypto-sensitivestring.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Ciphering of the few settings that must not lie in the clear. Both platforms make the same text of the same input, and
/// each opens what the other made. Free functions without state; any thread.
namespace Shared::Crypto
{

/// `plain` enciphered by AES-256 in CBC mode, keyed with the SHA-256 digest of `key`, with block padding and an
/// initialisation vector of zeros, as base64 in one line. Every byte of both texts counts; an empty `plain` gives one block.
/// Throws what Sha256 and Aes throw, and as ToBase64String().
std::string Encrypt(std::string_view plain, std::string_view key);

/// The plain text of what Encrypt() made with the same key. Throws the runtime exception "CryptStringToBinaryA failed" for
/// what is no base64, NtStatusException "BCryptDecrypt failed" for what does not open with this key, and what Sha256 and
/// Aes throw. One in 256 or so of the texts that were made with another key opens all the same, to rubbish.
SensitiveNarrowString Decrypt(std::string_view base64, std::string_view key);

/// Base64 in one line, without a line end. Throws Win32Exception "CryptBinaryToStringA() failed when calculating size" or
/// "CryptBinaryToStringA() failed when encoding", for more than 1 GB among others.
std::string ToBase64String(std::span<const std::uint8_t> bytes);

/// The bytes of a base64 text. Blanks, tabs and line ends may stand anywhere, the padding may be missing, and what stands
/// behind the padding does not count. Throws the runtime exception "CryptStringToBinaryA failed" for any other character,
/// for padding at a wrong place or of a wrong length, and for a last symbol that stands alone.
std::vector<std::uint8_t> ToBinary(std::string_view text);

} // namespace Shared::Crypto
