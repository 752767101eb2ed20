#include <utility>

#include <gtest/gtest.h>

#include "shared.winreg-regkey.hpp"

using Shared::WinReg::RegKey;

namespace
{

/// A key whose closing is counted.
RegKey MakeKey(int& closed)
{
    return RegKey(std::shared_ptr<void>(&closed, [&closed](void*) { ++closed; }));
}

} // namespace

TEST(RegKeyTest, ANewOneIsNull)
{
    const RegKey key;
    EXPECT_TRUE(key.IsNull());
    EXPECT_FALSE(static_cast<bool>(key));
    EXPECT_EQ(key.GetRawKey(), nullptr);
    EXPECT_TRUE(key == RegKey{});
}

TEST(RegKeyTest, CopiesShareTheKeyWhichIsClosedWithTheLast)
{
    int closed = 0;
    {
        auto first = MakeKey(closed);
        EXPECT_FALSE(first.IsNull());
        EXPECT_EQ(first.GetRawKey(), &closed);
        {
            const auto second = first;
            EXPECT_TRUE(second == first);
            first.Close();
            first.Close();
            EXPECT_TRUE(first.IsNull());
            EXPECT_EQ(second.GetRawKey(), &closed);
            EXPECT_EQ(closed, 0);
        }
        EXPECT_EQ(closed, 1);
    }
    EXPECT_EQ(closed, 1);
}

TEST(RegKeyTest, MovingGivesTheKeyAway)
{
    int closed = 0;
    auto first = MakeKey(closed);
    const auto second = std::move(first);
    EXPECT_EQ(second.GetRawKey(), &closed);
    EXPECT_EQ(closed, 0);
}

TEST(RegKeyTest, AssigningClosesWhatWasThere)
{
    int closed = 0;
    int other = 0;
    auto key = MakeKey(closed);
    key = MakeKey(other);
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(key.GetRawKey(), &other);
    EXPECT_FALSE(key == MakeKey(closed));
}
