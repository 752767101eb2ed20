#pragma once

#include <cstddef>

namespace Contract
{

/// Bytes of memory that this process has at the moment; 0 when the system does not tell.
std::size_t ResidentBytes();

} // namespace Contract
