#pragma once

#include "shared.system-processes.hpp"

#include <chrono>
#include <cstdint>

#include <gtest/gtest.h>

namespace Contract
{

/// Works until this process has used that much more processor time by the system's own account.
inline void UseProcessor(std::uint32_t ownProcessId, Shared::System::CpuTime amount)
{
    const auto self = Shared::System::OpenProcess(ownProcessId);
    const auto start = Shared::System::GetProcessTime(self.GetRawHandle()).Total();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds{20} * VEL_TIME_SCALE;
    volatile std::uint64_t value = 1;
    while (Shared::System::GetProcessTime(self.GetRawHandle()).Total() - start < amount)
    {
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
        for (int i = 0; i < 1'000'000; ++i)
        {
            value = value * 31 + 7;
        }
    }
}

} // namespace Contract
