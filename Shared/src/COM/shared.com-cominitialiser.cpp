#include "shared.com-cominitialiser.hpp"

namespace Shared::COM
{

bool ComInitialiser::IsInitialised() const noexcept
{
    return m_initialised;
}

} // namespace Shared::COM
