#pragma once

namespace TestSupport
{

/// Whether this process runs under Wine: what that lacks, tests of Windows skip with the reason. False on Linux.
bool IsWine() noexcept;

} // namespace TestSupport
