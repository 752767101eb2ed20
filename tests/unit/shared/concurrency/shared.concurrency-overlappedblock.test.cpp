#include "shared.concurrency-overlappedblock.hpp"

#include "test.fakeoverlappedsource.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
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
    EXPECT_FALSE(block.IsSignalled());
    EXPECT_FALSE(block.Wait(0));
    EXPECT_TRUE(block.GetEvent().IsManualReset());
    EXPECT_TRUE(block.GetEvent().GetName().empty());
    EXPECT_FALSE(block.GetEvent().WaitOnEvent(0));
}

TEST(OverlappedBlockTest, StatusAndCountAreTheFirstTwoWordsAndTheEventsHandleIsTheFourth)
{
    OverlappedBlock block;
    block.Finish(NtStatus::BufferOverflow, 5120);
    const auto handle = reinterpret_cast<std::uintptr_t>(block.GetEvent().GetHandle());
    std::array<std::uintptr_t, 4> words{};
    std::memcpy(words.data(), block.GetSystemBlock(), sizeof words);
    EXPECT_EQ(words[0], 0x80000005U);
    EXPECT_EQ(words[1], 5120U);
    EXPECT_EQ(words[3], handle);
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
    EXPECT_FALSE(block.Wait(0));
}

TEST(OverlappedBlockTest, TheEventIsOneAndTheSame)
{
    OverlappedBlock block;
    const Shared::Raii::RawHandle handle = block.GetEvent().GetHandle();
    ASSERT_NE(handle, nullptr);
    block.Signal();
    EXPECT_EQ(block.GetEvent().GetHandle(), handle);
}

TEST(OverlappedBlockTest, ASignalIsSeenByWhoAsksForTheEventBeforeAndAfterIt)
{
    OverlappedBlock before;
    const Event& event = before.GetEvent();
    before.Signal();
    before.Signal();
    EXPECT_TRUE(event.WaitOnEvent(0));
    EXPECT_TRUE(before.Wait(0));
    OverlappedBlock after;
    after.Signal();
    EXPECT_TRUE(after.IsSignalled());
    EXPECT_TRUE(after.Wait(0));
    EXPECT_TRUE(after.GetEvent().WaitOnEvent(0));
}

TEST(OverlappedBlockTest, AResetTakesTheSignalBackWithAnEventAndWithoutOne)
{
    OverlappedBlock without;
    without.Signal();
    without.Reset();
    EXPECT_FALSE(without.IsSignalled());
    EXPECT_FALSE(without.Wait(0));
    OverlappedBlock with;
    (void)with.GetEvent();
    with.Signal();
    with.Reset();
    EXPECT_FALSE(with.GetEvent().WaitOnEvent(0));
    with.Signal();
    EXPECT_TRUE(with.GetEvent().WaitOnEvent(0));
}

TEST(OverlappedBlockTest, ASignalWakesWhoWaitsOnAnotherThread)
{
    OverlappedBlock block;
    std::thread system([&] { block.Signal(); });
    EXPECT_TRUE(block.Wait(TestSupport::LimitMs));
    system.join();
    EXPECT_TRUE(block.GetEvent().WaitOnEvent(0));
}

TEST(OverlappedBlockTest, AnEventThatNobodySignalsAnyMoreServesTheNextOperation)
{
    const auto spare = std::make_shared<OverlappedSpare>();
    Shared::Raii::RawHandle handle = nullptr;
    {
        OverlappedBlock first(spare);
        handle = first.GetEvent().GetHandle();
        first.Signal();
    }
    OverlappedBlock next(spare);
    EXPECT_EQ(next.GetEvent().GetHandle(), handle);
    EXPECT_FALSE(next.GetEvent().WaitOnEvent(0)) << "without the signal of the first";
}

TEST(OverlappedBlockTest, AnEventThatTheKernelMaySignalLaterIsNotUsedAgain)
{
    const auto spare = std::make_shared<OverlappedSpare>();
    for (const bool isSignalled : {false, true})
    {
        OverlappedBlock block(spare);
        (void)block.GetEvent();
        block.ExpectSignal();
        if (isSignalled)
        {
            block.Signal();
        }
    }
    EXPECT_FALSE(spare->TakeEvent().HasHandle());
}

TEST(OverlappedBlockTest, ItsEventIsGivenOnceSomebodyAskedForIt)
{
    OverlappedBlock block;
    block.Signal();
    (void)block.GetOwnEvent();
    EXPECT_FALSE(block.IsEventGiven());
    (void)block.GetEvent();
    EXPECT_TRUE(block.IsEventGiven());
}

TEST(OverlappedBlockTest, WhoKnowsOfTheEndSignalsTheEventForOthersAlone)
{
    OverlappedBlock alone;
    const Event& own = alone.GetOwnEvent();
    alone.SignalOthers();
    EXPECT_TRUE(alone.IsSignalled());
    EXPECT_FALSE(own.WaitOnEvent(0));
    EXPECT_TRUE(alone.GetEvent().WaitOnEvent(0)) << "who asks later is an other";
    OverlappedBlock shared;
    (void)shared.GetOwnEvent();
    const Event& given = shared.GetEvent();
    shared.SignalOthers();
    EXPECT_TRUE(given.WaitOnEvent(0));
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
    const std::array<std::uint8_t, 3> begun = {7, 8, 9};
    block.PrepareBuffer(begun, 2);
    EXPECT_EQ(block.GetBuffer(), (std::vector<std::uint8_t>{7, 8, 9, 0, 0}));
    ASSERT_EQ(block.GetTarget().size(), 2U);
    EXPECT_EQ(block.GetTarget().data(), block.GetBuffer().data() + 3);
}

TEST(OverlappedBlockTest, TheBufferOfALongOperationServesTheNextThatGoesOnInAMessage)
{
    const auto spare = std::make_shared<OverlappedSpare>();
    const std::array<std::uint8_t, 2> begun = {1, 2};
    const std::uint8_t* place = nullptr;
    {
        OverlappedBlock first(spare);
        first.PrepareBuffer(begun, OverlappedSpare::Smallest);
        std::ranges::fill(first.GetTarget(), std::uint8_t{9});
        place = first.GetBuffer().data();
    }
    {
        OverlappedBlock anew(spare);
        anew.PrepareBuffer({}, OverlappedSpare::Smallest);
        EXPECT_EQ(anew.GetBuffer(), std::vector<std::uint8_t>(OverlappedSpare::Smallest))
            << "zeros, as nothing has begun";
        anew.GetBuffer() = {};
    }
    OverlappedBlock next(spare);
    next.PrepareBuffer(begun, OverlappedSpare::Smallest);
    EXPECT_EQ(next.GetBuffer().data(), place);
    EXPECT_EQ(next.GetBuffer().size(), OverlappedSpare::Smallest + 2);
    EXPECT_EQ(next.GetBuffer()[0], 1);
    EXPECT_EQ(next.GetBuffer()[1], 2);
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
    block.Signal();
    EXPECT_TRUE(source.OverlappedSource::AwaitEnd(block, 0));
}
