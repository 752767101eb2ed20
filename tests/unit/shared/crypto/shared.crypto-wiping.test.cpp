#include "shared.crypto-wiping.hpp"

#include "test.crypto-releasedmemory.hpp"

#include <algorithm>
#include <array>

#include <gtest/gtest.h>

namespace
{

using CryptoTest::ReleasedMemory;
using Shared::Crypto::SensitiveBytes;
using Shared::Crypto::Wipe;
using Shared::Crypto::WipeOnExit;

const std::string Secret = "a secret long enough for the heap, whatever short strings have inside of themselves";

TEST(ReleasedMemoryTest, SeesWhatIsLeftBehind)
{
    const ReleasedMemory released(Secret);
    {
        const std::string narrow = Secret;
        const std::wstring wide(Secret.begin(), Secret.end());
    }
    EXPECT_EQ(released.CountHolding(), 2U);
}

TEST(WipeTest, OverwritesExactlyWhatItIsGiven)
{
    std::array<char, 6> bytes = {'a', 'b', 'c', 'd', 'e', 'f'};
    Wipe(bytes.data() + 1, 4);
    EXPECT_EQ(bytes, (std::array<char, 6>{'a', 0, 0, 0, 0, 'f'}));
    Wipe(bytes.data(), 0);
    EXPECT_EQ(bytes[0], 'a');
    Wipe(nullptr, 0);
}

TEST(SensitiveBytesTest, LeaveNothingBehindWhenTheyGrowMoveOrEnd)
{
    const ReleasedMemory released(Secret);
    {
        SensitiveBytes bytes(Secret.begin(), Secret.end());
        bytes.reserve(bytes.capacity() * 2);
        SensitiveBytes moved = std::move(bytes);
        const SensitiveBytes copy = moved;
        moved = SensitiveBytes(3);
        EXPECT_TRUE(std::equal(copy.begin(), copy.end(), Secret.begin(), Secret.end()));
    }
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(WipeOnExitTest, WipesTheStringAtTheEndOfTheScope)
{
    std::wstring text = L"secret";
    {
        const WipeOnExit wipe(text);
        EXPECT_EQ(text, L"secret");
    }
    EXPECT_EQ(text, std::wstring(6, L'\0'));
}

} // namespace
