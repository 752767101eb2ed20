#include "shared.crypto-sha256.hpp"

#include <limits>

#include "shared.crypto-cng.windows.hpp"
#include "shared.crypto-status.hpp"
#include "shared.exception-exceptions.hpp"

namespace Shared::Crypto
{

Sha256::Sha256(std::string_view text)
{
    if (text.size() > std::numeric_limits<ULONG>::max())
    {
        throw Exception::NtStatusException("BCryptHashData failed", Status::InvalidParameter);
    }
    const Cng::Algorithm algorithm = Cng::OpenAlgorithm(BCRYPT_SHA256_ALGORITHM);
    SensitiveBytes object(Cng::GetNumber(algorithm, BCRYPT_OBJECT_LENGTH));
    m_digest.resize(Cng::GetNumber(algorithm, BCRYPT_HASH_LENGTH));

    BCRYPT_HASH_HANDLE handle = nullptr;
    Cng::ThrowUnlessDone(
        ::BCryptCreateHash(algorithm.get(), &handle, object.data(), static_cast<ULONG>(object.size()), nullptr, 0, 0),
        "BCryptCreateHash failed");
    const Cng::Hash hash(handle);
    // The system takes what it only reads by a pointer that it could write through.
    auto* const bytes = const_cast<PUCHAR>(reinterpret_cast<const UCHAR*>(text.data()));
    Cng::ThrowUnlessDone(
        ::BCryptHashData(hash.get(), bytes, static_cast<ULONG>(text.size()), 0), "BCryptHashData failed");
    Cng::ThrowUnlessDone(
        ::BCryptFinishHash(hash.get(), m_digest.data(), static_cast<ULONG>(m_digest.size()), 0),
        "BCryptFinishHash failed");
}

} // namespace Shared::Crypto
