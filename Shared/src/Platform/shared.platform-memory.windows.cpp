#include "shared.platform-memory.hpp"

#include <malloc.h>

namespace Shared::Platform
{

void ReturnFreeMemory() noexcept
{
    (void)::_heapmin();
}

} // namespace Shared::Platform
