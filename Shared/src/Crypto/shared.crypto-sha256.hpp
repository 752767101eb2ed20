#pragma once

#include "shared.crypto-wiping.hpp"

#include <string_view>

namespace Shared::Crypto
{

/// The SHA-256 digest of a text, by the system's own cryptography (CNG, OpenSSL). The digest of a key text is what the
/// cipher is keyed with, so it is wiped as a key is.
class Sha256
{
public:
    /// Hashes the bytes of `text`, null characters included. Throws NtStatusException "BCryptOpenAlgorithmProvider
    /// failed", "BCryptGetProperty failed", "BCryptCreateHash failed", "BCryptHashData failed" or "BCryptFinishHash
    /// failed". Any thread.
    explicit Sha256(std::string_view text);

    /// 32 bytes.
    const SensitiveBytes& GetDigest() const noexcept
    {
        return m_digest;
    }

private:
    SensitiveBytes m_digest;
};

} // namespace Shared::Crypto
