#include "shared.concurrency-overlappedspare.hpp"

#include <utility>

#include <gtest/gtest.h>

using Shared::Concurrency::OverlappedSpare;
using Bytes = std::vector<std::uint8_t>;

TEST(OverlappedSpareTest, HasNothingAtFirst)
{
    OverlappedSpare spare;
    EXPECT_EQ(spare.Take(OverlappedSpare::Smallest).capacity(), 0U);
}

TEST(OverlappedSpareTest, GivesBackTheSameMemoryOnce)
{
    OverlappedSpare spare;
    Bytes buffer(OverlappedSpare::Smallest + 1);
    const std::uint8_t* const place = buffer.data();
    spare.Give(std::move(buffer));
    EXPECT_EQ(spare.Take(OverlappedSpare::Smallest).data(), place);
    EXPECT_EQ(spare.Take(OverlappedSpare::Smallest).capacity(), 0U);
}

TEST(OverlappedSpareTest, KeepsWhatIsTooSmallForOneRequestForAnother)
{
    OverlappedSpare spare;
    spare.Give(Bytes(OverlappedSpare::Smallest));
    EXPECT_EQ(spare.Take(OverlappedSpare::Smallest + 1).capacity(), 0U);
    EXPECT_EQ(spare.Take(OverlappedSpare::Smallest).capacity(), OverlappedSpare::Smallest);
}

TEST(OverlappedSpareTest, IsNotWastedOnASmallRequest)
{
    OverlappedSpare spare;
    spare.Give(Bytes(OverlappedSpare::Smallest));
    EXPECT_EQ(spare.Take(OverlappedSpare::Smallest - 1).capacity(), 0U);
    EXPECT_NE(spare.Take(OverlappedSpare::Smallest).capacity(), 0U);
}

TEST(OverlappedSpareTest, KeepsTheLargerOfTwo)
{
    for (const bool largerFirst : {false, true})
    {
        OverlappedSpare spare;
        spare.Give(Bytes(OverlappedSpare::Smallest * (largerFirst ? 2 : 1)));
        spare.Give(Bytes(OverlappedSpare::Smallest * (largerFirst ? 1 : 2)));
        EXPECT_EQ(spare.Take(OverlappedSpare::Smallest).capacity(), OverlappedSpare::Smallest * 2);
    }
}

TEST(OverlappedSpareTest, KeepsNothingSmallAndNothingVeryLarge)
{
    for (const std::size_t size : {OverlappedSpare::Smallest - 1, OverlappedSpare::Largest + 1})
    {
        OverlappedSpare spare;
        spare.Give(Bytes(size));
        EXPECT_EQ(spare.Take(OverlappedSpare::Smallest).capacity(), 0U);
    }
}

TEST(OverlappedSpareTest, KeepsOneEvent)
{
    OverlappedSpare spare;
    EXPECT_FALSE(spare.TakeEvent().HasHandle());
    Shared::Concurrency::Event event(false, true);
    const Shared::Raii::RawHandle handle = event.GetHandle();
    spare.GiveEvent(std::move(event));
    spare.GiveEvent(Shared::Concurrency::Event(false, true));
    EXPECT_EQ(spare.TakeEvent().GetHandle(), handle);
    EXPECT_FALSE(spare.TakeEvent().HasHandle());
}
