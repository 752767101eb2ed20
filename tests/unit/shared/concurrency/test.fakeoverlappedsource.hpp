#pragma once

#include "shared.concurrency-overlappedblock.hpp"

#include <cstdint>
#include <vector>

namespace Fakes
{

/// What operations run on, without a system behind it: the test ends them.
class FakeOverlappedSource : public Shared::Concurrency::OverlappedSource
{
public:
    Shared::Raii::RawHandle GetSourceHandle() const noexcept override
    {
        return reinterpret_cast<Shared::Raii::RawHandle>(std::uintptr_t{77});
    }

    std::uint32_t Cancel(Shared::Concurrency::OverlappedBlock& block) noexcept override
    {
        cancelled.push_back(&block);
        return cancelResult;
    }

    void BringUpToDate(Shared::Concurrency::OverlappedBlock& block) noexcept override
    {
        ++looks;
        if (endsWhenLookedAt)
        {
            block.Finish(0, 3);
        }
    }

    bool endsWhenLookedAt = false;
    int looks = 0;
    std::uint32_t cancelResult = 0;
    std::vector<Shared::Concurrency::OverlappedBlock*> cancelled;
};

} // namespace Fakes
