#include "shared.crypto-wiping.hpp"

#include <cstring>

namespace Shared::Crypto
{

namespace
{

/// Read anew at each call, so that no compiler can know what is called and drop it as a write that nobody reads.
void* (*volatile s_fill)(void*, int, std::size_t) = &std::memset;

} // namespace

void Wipe(void* memory, std::size_t bytes) noexcept
{
    if (bytes != 0)
    {
        s_fill(memory, 0, bytes);
    }
}

} // namespace Shared::Crypto
