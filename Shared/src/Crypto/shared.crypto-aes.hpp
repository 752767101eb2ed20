#pragma once

#include "shared.crypto-wiping.hpp"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Shared::Crypto
{

/// AES in CBC mode with block padding and an initialisation vector of zeros, by the system's own cryptography (CNG,
/// OpenSSL). The same plain text always gives the same ciphertext: for values of which nobody compares the ciphertexts.
/// Not for use by several threads at once.
class Aes
{
public:
    /// Takes a key of 16, 24 or 32 bytes, which chooses AES-128, -192 or -256. Throws the runtime exception "aes128Key
    /// cannot be empty", and NtStatusException "BCryptOpenAlgorithmProvider failed", "BCryptGetProperty failed",
    /// "BCryptSetProperty failed" or, for a key of another length too, "BCryptGenerateSymmetricKey failed".
    explicit Aes(SensitiveBytes key);
    Aes(const Aes&) = delete;
    Aes& operator=(const Aes&) = delete;
    virtual ~Aes();

    /// The ciphertext: whole blocks, always at least one and always longer than the plain text. Throws NtStatusException
    /// "BCryptEncrypt failed".
    std::vector<std::uint8_t> Encrypt(std::span<const std::uint8_t> plain) const;

    /// The plain text. Throws NtStatusException "BCryptDecrypt failed" for what is no whole number of blocks, for none at
    /// all, and (in all but one of 256 cases or so) for what was enciphered with another key or damaged.
    SensitiveBytes Decrypt(std::span<const std::uint8_t> cipher) const;

    /// Bytes of one block: 16.
    std::uint32_t GetBlockLength() const noexcept
    {
        return m_blockLength;
    }

    /// One block of zeros.
    const std::vector<std::uint8_t>& GetInitialisationVector() const noexcept
    {
        return m_iv;
    }

private:
    struct Native;

    static void CheckKey(const SensitiveBytes& key);
    void CheckPlain(std::span<const std::uint8_t> plain) const;
    void CheckCipher(std::span<const std::uint8_t> cipher) const;

    std::unique_ptr<Native> m_native;
    std::vector<std::uint8_t> m_iv;
    SensitiveBytes m_key;
    std::uint32_t m_blockLength = 0;
};

} // namespace Shared::Crypto
