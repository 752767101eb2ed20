#include "shared.platform-memory.hpp"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "test.support-memory.linux.hpp"
#include "test.support-sanitizers.hpp"

namespace
{

TEST(ReturnFreeMemoryTest, MemoryBelowABlockInUseGoesBackToTheSystem)
{
    if (TestSupport::IsAddressSanitized || TestSupport::IsThreadSanitized)
    {
        GTEST_SKIP() << "a sanitizer has an allocator of its own";
    }
    constexpr std::size_t Size = 4'000;
    constexpr std::size_t Count = 10'000;
    std::vector<std::unique_ptr<std::string>> blocks;
    for (std::size_t i = 0; i < Count; ++i)
    {
        blocks.push_back(std::make_unique<std::string>(Size, 'x'));
    }
    const auto last = std::move(blocks.back());
    const auto full = TestSupport::ResidentBytes();
    blocks.clear();
    Shared::Platform::ReturnFreeMemory();
    EXPECT_LT(TestSupport::ResidentBytes() + Size * Count / 2, full);
    EXPECT_EQ(*last, std::string(Size, 'x'));
}

} // namespace
