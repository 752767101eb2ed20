#include "shared.crypto-aes.hpp"

#include "shared.crypto-status.hpp"
#include "shared.exception-exceptions.hpp"

#include <algorithm>
#include <array>
#include <limits>

namespace Shared::Crypto
{

namespace
{

constexpr std::array<std::size_t, 3> KeyLengths = {16, 24, 32};
/// What both systems can be told in one call, padding included.
constexpr std::size_t LargestText = std::numeric_limits<std::int32_t>::max() / 2;

} // namespace

// What the two systems would judge differently is judged here.

void Aes::CheckKey(const SensitiveBytes& key)
{
    if (key.empty())
    {
        throw Exception::RuntimeException("aes128Key cannot be empty");
    }
    if (std::find(KeyLengths.begin(), KeyLengths.end(), key.size()) == KeyLengths.end())
    {
        throw Exception::NtStatusException("BCryptGenerateSymmetricKey failed", Status::InvalidParameter);
    }
}

void Aes::CheckPlain(std::span<const std::uint8_t> plain) const
{
    if (plain.size() > LargestText)
    {
        throw Exception::NtStatusException("BCryptEncrypt failed", Status::InvalidBufferSize);
    }
}

void Aes::CheckCipher(std::span<const std::uint8_t> cipher) const
{
    if (cipher.empty() || cipher.size() % m_blockLength != 0 || cipher.size() > LargestText)
    {
        throw Exception::NtStatusException("BCryptDecrypt failed", Status::InvalidBufferSize);
    }
}

} // namespace Shared::Crypto
