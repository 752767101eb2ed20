#include "contract.watchgaps.hpp"

const char* WhyChangesAreMissed()
{
    return nullptr;
}
