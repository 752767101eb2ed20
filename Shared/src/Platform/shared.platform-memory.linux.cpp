#include "shared.platform-memory.hpp"

#include <malloc.h>

namespace Shared::Platform
{

void ReturnFreeMemory() noexcept
{
    // Each large block that is freed raises the size up to which blocks are kept, to 64 MB in the end, and what lies below
    // a block in use is never returned otherwise.
    (void)::malloc_trim(0);
}

} // namespace Shared::Platform
