#pragma once

#include <cstdlib>

namespace Fuzz
{

/// What has to hold for every input. When it does not, the program ends, and the input is kept as a finding.
inline void Require(bool holds)
{
    if (!holds)
    {
        std::abort();
    }
}

} // namespace Fuzz
