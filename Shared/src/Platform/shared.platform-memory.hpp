#pragma once

namespace Shared::Platform
{

/// Gives memory that the process has freed back to the system, as far as it can. An allocator keeps what it may need again,
/// and after something of exceptional size that would be for good. What is in use stays as it is. Takes a time that grows
/// with the amount: for after rare and large work. Any thread; never throws.
void ReturnFreeMemory() noexcept;

} // namespace Shared::Platform
