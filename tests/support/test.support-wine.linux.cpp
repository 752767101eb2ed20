#include "test.support-wine.hpp"

namespace TestSupport
{

bool IsWine() noexcept
{
    return false;
}

} // namespace TestSupport
