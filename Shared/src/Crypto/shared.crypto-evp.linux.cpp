#include "shared.crypto-evp.linux.hpp"

#include "shared.crypto-status.hpp"
#include "shared.exception-exceptions.hpp"

#include <openssl/err.h>

namespace Shared::Crypto::Evp
{

void ThrowFailure(const char* text, std::uint32_t status, const std::source_location& where)
{
    const bool isLackOfMemory = ERR_GET_REASON(::ERR_peek_last_error()) == ERR_R_MALLOC_FAILURE;
    ::ERR_clear_error();
    throw Exception::NtStatusException(text, isLackOfMemory ? Status::NoMemory : status, where);
}

} // namespace Shared::Crypto::Evp
