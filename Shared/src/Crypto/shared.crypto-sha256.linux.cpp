#include "shared.crypto-sha256.hpp"

#include "shared.crypto-evp.linux.hpp"
#include "shared.crypto-status.hpp"

namespace Shared::Crypto
{

Sha256::Sha256(std::string_view text)
{
    const Evp::Digest algorithm(::EVP_MD_fetch(nullptr, "SHA256", nullptr));
    Evp::ThrowUnlessDone(algorithm != nullptr, "BCryptOpenAlgorithmProvider failed", Status::NotFound);
    const int size = ::EVP_MD_get_size(algorithm.get());
    Evp::ThrowUnlessDone(size > 0, "BCryptGetProperty failed", Status::Unsuccessful);
    m_digest.resize(static_cast<std::size_t>(size));

    const Evp::DigestContext hash(::EVP_MD_CTX_new());
    Evp::ThrowUnlessDone(
        hash != nullptr && ::EVP_DigestInit_ex2(hash.get(), algorithm.get(), nullptr) == 1, "BCryptCreateHash failed",
        Status::Unsuccessful);
    Evp::ThrowUnlessDone(
        ::EVP_DigestUpdate(hash.get(), text.data(), text.size()) == 1, "BCryptHashData failed", Status::Unsuccessful);
    Evp::ThrowUnlessDone(
        ::EVP_DigestFinal_ex(hash.get(), m_digest.data(), nullptr) == 1, "BCryptFinishHash failed",
        Status::Unsuccessful);
}

} // namespace Shared::Crypto
