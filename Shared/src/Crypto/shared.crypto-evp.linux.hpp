#pragma once

#include <cstdint>
#include <memory>
#include <source_location>

#include <openssl/evp.h>

/// Owners of what OpenSSL hands out, and its failures as the exceptions of the operations that they stand for.
namespace Shared::Crypto::Evp
{

template <auto Free>
struct Freer
{
    template <typename T>
    void operator()(T* object) const noexcept
    {
        Free(object);
    }
};

using Cipher = std::unique_ptr<EVP_CIPHER, Freer<&EVP_CIPHER_free>>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Freer<&EVP_CIPHER_CTX_free>>;
using Digest = std::unique_ptr<EVP_MD, Freer<&EVP_MD_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, Freer<&EVP_MD_CTX_free>>;

/// Throws NtStatusException with `text`, and empties this thread's list of OpenSSL's errors. The status is that for lack
/// of memory when this is what OpenSSL says, else `status`.
[[noreturn]] void ThrowFailure(
    const char* text, std::uint32_t status, const std::source_location& where = std::source_location::current());

/// ThrowFailure() unless `done`.
inline void ThrowUnlessDone(
    bool done,
    const char* text,
    std::uint32_t status,
    const std::source_location& where = std::source_location::current())
{
    if (!done)
    {
        ThrowFailure(text, status, where);
    }
}

} // namespace Shared::Crypto::Evp
