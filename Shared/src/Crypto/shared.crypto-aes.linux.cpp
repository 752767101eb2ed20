#include "shared.crypto-aes.hpp"

#include <string>
#include <utility>

#include "shared.crypto-evp.linux.hpp"
#include "shared.crypto-status.hpp"

namespace Shared::Crypto
{

struct Aes::Native
{
    Evp::Cipher cipher;
};

Aes::Aes(SensitiveBytes key) : m_key(std::move(key))
{
    CheckKey(m_key);
    const std::string name = "AES-" + std::to_string(m_key.size() * 8) + "-CBC";
    m_native = std::make_unique<Native>();
    m_native->cipher.reset(::EVP_CIPHER_fetch(nullptr, name.c_str(), nullptr));
    Evp::ThrowUnlessDone(m_native->cipher != nullptr, "BCryptOpenAlgorithmProvider failed", Status::NotFound);
    const int blockLength = ::EVP_CIPHER_get_block_size(m_native->cipher.get());
    Evp::ThrowUnlessDone(blockLength > 0, "BCryptGetProperty failed", Status::Unsuccessful);
    m_blockLength = static_cast<std::uint32_t>(blockLength);
    m_iv.assign(m_blockLength, 0);
}

Aes::~Aes() = default;

std::vector<std::uint8_t> Aes::Encrypt(std::span<const std::uint8_t> plain) const
{
    CheckPlain(plain);
    constexpr const char* Failure = "BCryptEncrypt failed";
    const Evp::CipherContext context(::EVP_CIPHER_CTX_new());
    Evp::ThrowUnlessDone(
        context != nullptr &&
            ::EVP_EncryptInit_ex2(context.get(), m_native->cipher.get(), m_key.data(), m_iv.data(), nullptr) == 1,
        Failure, Status::Unsuccessful);
    std::vector<std::uint8_t> cipher(plain.size() + m_blockLength);
    int written = 0;
    int last = 0;
    Evp::ThrowUnlessDone(
        ::EVP_EncryptUpdate(context.get(), cipher.data(), &written, plain.data(), static_cast<int>(plain.size())) ==
                1 &&
            ::EVP_EncryptFinal_ex(context.get(), cipher.data() + written, &last) == 1,
        Failure, Status::Unsuccessful);
    cipher.resize(static_cast<std::size_t>(written) + static_cast<std::size_t>(last));
    return cipher;
}

SensitiveBytes Aes::Decrypt(std::span<const std::uint8_t> cipher) const
{
    CheckCipher(cipher);
    constexpr const char* Failure = "BCryptDecrypt failed";
    const Evp::CipherContext context(::EVP_CIPHER_CTX_new());
    Evp::ThrowUnlessDone(
        context != nullptr &&
            ::EVP_DecryptInit_ex2(context.get(), m_native->cipher.get(), m_key.data(), m_iv.data(), nullptr) == 1,
        Failure, Status::Unsuccessful);
    // More than the plain text can have: the library writes whole blocks before it knows the padding.
    SensitiveBytes plain(cipher.size() + m_blockLength);
    int written = 0;
    int last = 0;
    Evp::ThrowUnlessDone(
        ::EVP_DecryptUpdate(context.get(), plain.data(), &written, cipher.data(), static_cast<int>(cipher.size())) == 1,
        Failure, Status::Unsuccessful);
    Evp::ThrowUnlessDone(
        ::EVP_DecryptFinal_ex(context.get(), plain.data() + written, &last) == 1, Failure, Status::DataError);
    plain.resize(static_cast<std::size_t>(written) + static_cast<std::size_t>(last));
    return plain;
}

} // namespace Shared::Crypto
