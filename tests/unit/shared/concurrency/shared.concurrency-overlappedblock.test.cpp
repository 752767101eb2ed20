#include "shared.concurrency-overlappedblock.hpp"

#include "test.fakeoverlappedsource.hpp"
#include "test.support-time.hpp"

#include <array>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

using namespace Shared::Concurrency;

TEST(OverlappedBlockTest, StartsZeroedWithAnUnsignalledManualResetEvent)
{
    OverlappedBlock block;
    EXPECT_EQ(block.GetStatus(), 0U);
    EXPECT_EQ(block.GetBytesTransferred(), 0U);
    EXPECT_TRUE(block.GetBuffer().empty());
    EXPECT_FALSE(block.IsJoined());
    EXPECT_TRUE(block.GetEvent().IsManualReset());
    EXPECT_TRUE(block.GetEvent().GetName().empty());
    EXPECT_FALSE(block.GetEvent().WaitOnEvent(0));
}

TEST(OverlappedBlockTest, StatusAndCountAreTheFirstTwoWordsAndTheEventsHandleIsTheFourth)
{
    OverlappedBlock block;
    block.Finish(NtStatus::BufferOverflow, 5120);
    std::array<std::uintptr_t, 4> words{};
    std::memcpy(words.data(), block.GetSystemBlock(), sizeof words);
    EXPECT_EQ(words[0], 0x80000005U);
    EXPECT_EQ(words[1], 5120U);
    EXPECT_EQ(words[3], reinterpret_cast<std::uintptr_t>(block.GetEvent().GetHandle()));
}

TEST(OverlappedBlockTest, IsPendingFromItsBeginningToItsEnd)
{
    OverlappedBlock block;
    block.Finish(NtStatus::Success, 9);
    block.Begin();
    EXPECT_EQ(block.GetStatus(), 259U);
    EXPECT_EQ(block.GetBytesTransferred(), 0U);
    block.Finish(NtStatus::Cancelled, 0);
    EXPECT_EQ(block.GetStatus(), 0xC0000120U);
}

TEST(OverlappedBlockTest, TheEndIsNotSignalledByItself)
{
    OverlappedBlock block;
    block.Begin();
    block.Finish(NtStatus::Success, 0);
    EXPECT_FALSE(block.GetEvent().WaitOnEvent(0));
}

TEST(OverlappedBlockTest, WhatWasWrittenBeforeTheEndIsSeenByWhoSeesTheEnd)
{
    OverlappedBlock block;
    block.GetBuffer().resize(1000);
    block.Begin();
    std::thread system(
        [&]
        {
            block.GetBuffer().assign(1000, 7);
            block.Finish(NtStatus::Success, 1000);
        });
    while (block.GetStatus() == NtStatus::Pending)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(block.GetBuffer(), std::vector<std::uint8_t>(1000, 7));
    EXPECT_EQ(block.GetBytesTransferred(), 1000U);
    system.join();
}

TEST(OverlappedBlockTest, TheTargetLiesBehindWhatWasThereBefore)
{
    OverlappedBlock block;
    block.GetBuffer() = {1, 2, 3, 4, 5};
    EXPECT_EQ(block.GetTarget().size(), 5U);
    block.SetTargetOffset(3);
    ASSERT_EQ(block.GetTarget().size(), 2U);
    EXPECT_EQ(block.GetTarget().front(), 4);
}

TEST(OverlappedSourceTest, WaitsOnTheEventAloneUnlessItsBodyKnowsBetter)
{
    Fakes::FakeOverlappedSource source;
    OverlappedBlock block;
    block.Begin();
    const TestSupport::Stopwatch watch;
    EXPECT_FALSE(source.OverlappedSource::AwaitEnd(block, 20));
    EXPECT_GE(watch.ElapsedMs(), 20.0);
    source.OverlappedSource::BringUpToDate(block);
    EXPECT_EQ(block.GetStatus(), NtStatus::Pending);
    block.GetEvent().Signal();
    EXPECT_TRUE(source.OverlappedSource::AwaitEnd(block, 0));
}
