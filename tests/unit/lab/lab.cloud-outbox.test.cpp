#include "lab.cloud-outbox.hpp"

#include "test.support-time.hpp"

#include <thread>

#include <gtest/gtest.h>

namespace
{

using Lab::Cloud::Outbox;
using Lab::Cloud::Parcel;
using std::chrono::milliseconds;

Parcel Numbered(std::uint32_t number)
{
    Parcel parcel;
    parcel.envelope.seqNum = number;
    return parcel;
}

TEST(OutboxTest, ParcelsComeInTheirOrder)
{
    Outbox outbox;
    for (std::uint32_t i = 1; i <= 3; ++i)
    {
        EXPECT_TRUE(outbox.Push(Numbered(i)));
    }
    for (std::uint32_t i = 1; i <= 3; ++i)
    {
        EXPECT_EQ(outbox.Take()->envelope.seqNum, i);
    }
}

TEST(OutboxTest, OneThatIsDueLaterLetsOthersPass)
{
    Outbox outbox;
    const TestSupport::Stopwatch watch;
    outbox.Push(Numbered(1), milliseconds(50));
    outbox.Push(Numbered(2));
    EXPECT_EQ(outbox.Take()->envelope.seqNum, 2U);
    EXPECT_EQ(outbox.Take()->envelope.seqNum, 1U);
    EXPECT_GE(watch.ElapsedMs(), 50.0);
}

TEST(OutboxTest, TakingWaitsForWhatIsPushed)
{
    Outbox outbox;
    std::thread pusher(
        [&]
        {
            std::this_thread::sleep_for(milliseconds(20));
            outbox.Push(Numbered(1));
        });
    EXPECT_EQ(outbox.Take()->envelope.seqNum, 1U);
    pusher.join();
}

TEST(OutboxTest, StoppingEndsTheWaitAndEverything)
{
    Outbox outbox;
    outbox.Push(Numbered(1), std::chrono::hours(1));
    std::thread taker([&] { EXPECT_FALSE(outbox.Take().has_value()); });
    outbox.Stop();
    taker.join();
    outbox.Push(Numbered(2));
    EXPECT_FALSE(outbox.Take().has_value());
}

TEST(OutboxTest, NoMoreThanTheLimitWaits)
{
    Outbox outbox;
    for (std::size_t i = 0; i < Outbox::MostWaiting; ++i)
    {
        ASSERT_TRUE(outbox.Push({}));
    }
    EXPECT_FALSE(outbox.Push({}));
}

} // namespace
