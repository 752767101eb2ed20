#include "shared.platform-errors.hpp"

#include <cerrno>

namespace Shared::Platform
{

std::uint32_t LastError() noexcept
{
    return static_cast<std::uint32_t>(errno);
}

} // namespace Shared::Platform
