#include "shared.com-cominitialiser.hpp"

namespace Shared::COM
{

ComInitialiser::~ComInitialiser() = default;

void ComInitialiser::Initialise()
{
    m_initialised = true;
}

} // namespace Shared::COM
