#include "shared.platform-errors.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::Platform
{

std::uint32_t LastError() noexcept
{
    return ::GetLastError();
}

} // namespace Shared::Platform
