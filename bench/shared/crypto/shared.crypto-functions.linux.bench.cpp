// What ciphering costs over the library's own calls with the algorithms looked up beforehand and the contexts used again,
// which do the same bytes. Kept up: a value of ordinary length opens within 20 microseconds; a long one below 3 times the
// floor, as it is base64 that is gone through twice, and wiped.

#include "shared.crypto-functions.hpp"

#include "bench.ratio.hpp"

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

namespace
{

constexpr int Batch = 20;
constexpr std::string_view Key = "the constant part and a serial number";

class BareCipher
{
public:
    BareCipher() = default;
    BareCipher(const BareCipher&) = delete;
    BareCipher& operator=(const BareCipher&) = delete;

    ~BareCipher()
    {
        EVP_CIPHER_CTX_free(m_context);
        EVP_CIPHER_free(m_cipher);
        EVP_MD_free(m_digest);
    }

    std::string Encrypt(std::string_view plain)
    {
        std::vector<unsigned char> bytes(plain.size() + 16);
        int written = 0;
        int last = 0;
        EVP_EncryptInit_ex2(m_context, m_cipher, MakeKey().data(), m_iv.data(), nullptr);
        EVP_EncryptUpdate(m_context, bytes.data(), &written, BytesOf(plain), static_cast<int>(plain.size()));
        EVP_EncryptFinal_ex(m_context, bytes.data() + written, &last);
        std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
        text.resize(static_cast<std::size_t>(
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), written + last)));
        return text;
    }

    std::string Decrypt(std::string_view base64)
    {
        std::vector<unsigned char> bytes(base64.size() / 4 * 3);
        const int size = EVP_DecodeBlock(bytes.data(), BytesOf(base64), static_cast<int>(base64.size()));
        std::string plain(bytes.size() + 16, '\0');
        auto* const out = reinterpret_cast<unsigned char*>(plain.data());
        int written = 0;
        int last = 0;
        EVP_DecryptInit_ex2(m_context, m_cipher, MakeKey().data(), m_iv.data(), nullptr);
        EVP_DecryptUpdate(m_context, out, &written, bytes.data(), size / 16 * 16);
        EVP_DecryptFinal_ex(m_context, out + written, &last);
        plain.resize(static_cast<std::size_t>(written) + static_cast<std::size_t>(last));
        return plain;
    }

private:
    static const unsigned char* BytesOf(std::string_view text)
    {
        return reinterpret_cast<const unsigned char*>(text.data());
    }

    std::array<unsigned char, 32> MakeKey()
    {
        std::array<unsigned char, 32> key{};
        EVP_Digest(Key.data(), Key.size(), key.data(), nullptr, m_digest, nullptr);
        return key;
    }

    EVP_MD* m_digest = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    EVP_CIPHER* m_cipher = EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr);
    EVP_CIPHER_CTX* m_context = EVP_CIPHER_CTX_new();
    std::array<unsigned char, 16> m_iv{};
};

std::string PlainText(const benchmark::State& state)
{
    return std::string(static_cast<std::size_t>(state.range(0)), 'x');
}

void Encrypt(benchmark::State& state)
{
    const std::string plain = PlainText(state);
    BareCipher bare;
    if (bare.Encrypt(plain) != Shared::Crypto::Encrypt(plain, Key))
    {
        state.SkipWithError("the floor does something else");
        return;
    }
    Bench::Compare(
        state, Batch, [&plain] { benchmark::DoNotOptimize(Shared::Crypto::Encrypt(plain, Key)); },
        [&plain, &bare] { benchmark::DoNotOptimize(bare.Encrypt(plain)); });
}

void Decrypt(benchmark::State& state)
{
    const std::string plain = PlainText(state);
    const std::string enciphered = Shared::Crypto::Encrypt(plain, Key);
    BareCipher bare;
    if (bare.Decrypt(enciphered) != plain)
    {
        state.SkipWithError("the floor does something else");
        return;
    }
    Bench::Compare(
        state, Batch, [&enciphered] { benchmark::DoNotOptimize(Shared::Crypto::Decrypt(enciphered, Key)); },
        [&enciphered, &bare] { benchmark::DoNotOptimize(bare.Decrypt(enciphered)); });
}

} // namespace

BENCHMARK(Encrypt)->Arg(40)->Arg(160)->Arg(4'000)->Arg(100'000)->UseManualTime();
BENCHMARK(Decrypt)->Arg(40)->Arg(160)->Arg(4'000)->Arg(100'000)->UseManualTime();
