#pragma once

#include <cstddef>
#include <cstdint>

namespace Contract
{

/// The code with which the system refuses access: 5 on Windows, an errno on Linux.
std::uint32_t AccessDeniedCode() noexcept;

/// The code with which it says that there is no pipe of the name.
std::uint32_t NoSuchPipeCode() noexcept;

/// What this process has of the system.
struct Holdings
{
    /// Handles, or descriptors.
    std::size_t handles;
    std::size_t threads;

    friend bool operator==(const Holdings&, const Holdings&) = default;
};

Holdings CountHoldings();

} // namespace Contract
