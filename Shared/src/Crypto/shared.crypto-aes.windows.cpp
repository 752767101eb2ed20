#include "shared.crypto-aes.hpp"

#include <utility>

#include "shared.crypto-cng.windows.hpp"

namespace Shared::Crypto
{

namespace
{

/// The system takes what it only reads by a pointer that it could write through.
PUCHAR Readable(std::span<const std::uint8_t> bytes) noexcept
{
    return const_cast<PUCHAR>(bytes.data());
}

} // namespace

/// Destroyed from below: the key before the memory that it lives in, both before the provider.
struct Aes::Native
{
    Cng::Algorithm algorithm;
    SensitiveBytes object;
    Cng::Key key;
};

Aes::Aes(SensitiveBytes key) : m_key(std::move(key))
{
    CheckKey(m_key);
    m_native = std::make_unique<Native>();
    m_native->algorithm = Cng::OpenAlgorithm(BCRYPT_AES_ALGORITHM);
    m_native->object.resize(Cng::GetNumber(m_native->algorithm, BCRYPT_OBJECT_LENGTH));
    m_blockLength = Cng::GetNumber(m_native->algorithm, BCRYPT_BLOCK_LENGTH);
    m_iv.assign(m_blockLength, 0);

    wchar_t mode[] = BCRYPT_CHAIN_MODE_CBC;
    Cng::ThrowUnlessDone(
        ::BCryptSetProperty(
            m_native->algorithm.get(), BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(mode), sizeof(mode), 0),
        "BCryptSetProperty failed");
    BCRYPT_KEY_HANDLE handle = nullptr;
    Cng::ThrowUnlessDone(
        ::BCryptGenerateSymmetricKey(
            m_native->algorithm.get(), &handle, m_native->object.data(), static_cast<ULONG>(m_native->object.size()),
            m_key.data(), static_cast<ULONG>(m_key.size()), 0),
        "BCryptGenerateSymmetricKey failed");
    m_native->key.reset(handle);
}

Aes::~Aes() = default;

std::vector<std::uint8_t> Aes::Encrypt(std::span<const std::uint8_t> plain) const
{
    CheckPlain(plain);
    // The system changes the vector that it is given.
    std::vector<std::uint8_t> iv = m_iv;
    const auto call = [&](PUCHAR out, ULONG size)
    {
        ULONG written = 0;
        Cng::ThrowUnlessDone(
            ::BCryptEncrypt(
                m_native->key.get(), Readable(plain), static_cast<ULONG>(plain.size()), nullptr, iv.data(),
                static_cast<ULONG>(iv.size()), out, size, &written, BCRYPT_BLOCK_PADDING),
            "BCryptEncrypt failed");
        return written;
    };
    std::vector<std::uint8_t> cipher(call(nullptr, 0));
    cipher.resize(call(cipher.data(), static_cast<ULONG>(cipher.size())));
    return cipher;
}

SensitiveBytes Aes::Decrypt(std::span<const std::uint8_t> cipher) const
{
    CheckCipher(cipher);
    std::vector<std::uint8_t> iv = m_iv;
    const auto call = [&](PUCHAR out, ULONG size)
    {
        ULONG written = 0;
        Cng::ThrowUnlessDone(
            ::BCryptDecrypt(
                m_native->key.get(), Readable(cipher), static_cast<ULONG>(cipher.size()), nullptr, iv.data(),
                static_cast<ULONG>(iv.size()), out, size, &written, BCRYPT_BLOCK_PADDING),
            "BCryptDecrypt failed");
        return written;
    };
    SensitiveBytes plain(call(nullptr, 0));
    plain.resize(call(plain.data(), static_cast<ULONG>(plain.size())));
    return plain;
}

} // namespace Shared::Crypto
