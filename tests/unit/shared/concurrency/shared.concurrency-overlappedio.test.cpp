#include "shared.concurrency-overlappedio.hpp"

#include "test.fakeoverlappedsource.hpp"
#include "test.support-exceptions.hpp"

#include <memory>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

using namespace Shared::Concurrency;
using TestSupport::RuntimeText;
using Bytes = std::vector<std::uint8_t>;

namespace
{

class OverlappedIoTest : public testing::Test
{
protected:
    OverlappedIo Reading(std::size_t size) const
    {
        OverlappedIo operation(m_source);
        operation.PrepareBuffer({}, size);
        operation.GetOverlapped()->Begin();
        return operation;
    }

    static void End(OverlappedIo& operation, std::uint32_t status, const Bytes& read)
    {
        std::copy(read.begin(), read.end(), operation.GetOverlapped()->GetTarget().begin());
        operation.GetOverlapped()->Finish(status, read.size());
        operation.SetSignalled(true);
    }

    std::shared_ptr<Fakes::FakeOverlappedSource> m_source = std::make_shared<Fakes::FakeOverlappedSource>();
};

} // namespace

TEST_F(OverlappedIoTest, TheBufferHasTheRequestedSizeFromTheBeginning)
{
    EXPECT_EQ(Reading(5120).GetBuffer(), Bytes(5120, 0));
}

TEST_F(OverlappedIoTest, ASuccessfulEndCutsTheBufferToWhatWasRead)
{
    OverlappedIo operation = Reading(10);
    End(operation, NtStatus::Success, {1, 2, 3});
    EXPECT_EQ(operation.GetBuffer().size(), 10U);
    EXPECT_TRUE(operation.WaitForCompletion(0));
    EXPECT_EQ(operation.GetBuffer(), (Bytes{1, 2, 3}));
}

TEST_F(OverlappedIoTest, CuttingTwiceChangesNothingMore)
{
    OverlappedIo operation = Reading(10);
    End(operation, NtStatus::Success, {1, 2, 3});
    operation.ResizeBuffer();
    operation.ResizeBuffer();
    EXPECT_EQ(operation.GetBuffer(), (Bytes{1, 2, 3}));
}

TEST_F(OverlappedIoTest, AFullBufferStaysAsItIs)
{
    OverlappedIo operation = Reading(3);
    End(operation, NtStatus::Success, {1, 2, 3});
    operation.ResizeBuffer();
    EXPECT_EQ(operation.GetBuffer(), (Bytes{1, 2, 3}));
}

TEST_F(OverlappedIoTest, AReadOfZeroBytesLeavesABufferOfTheRequestedSize)
{
    OverlappedIo operation = Reading(5120);
    End(operation, NtStatus::Success, {});
    EXPECT_TRUE(operation.WaitForCompletion(0));
    EXPECT_EQ(operation.GetBuffer(), Bytes(5120, 0));
}

TEST_F(OverlappedIoTest, OnlyASuccessfulOperationIsCut)
{
    for (const std::uint32_t status : {NtStatus::Pending, NtStatus::BufferOverflow, NtStatus::Cancelled})
    {
        OverlappedIo operation = Reading(3);
        End(operation, status, {1});
        EXPECT_EQ(RuntimeText([&] { operation.ResizeBuffer(); }), "Operation is not successful");
        EXPECT_EQ(operation.GetBuffer().size(), 3U);
    }
}

TEST_F(OverlappedIoTest, AReadBehindOtherBytesIsCutBehindThem)
{
    OverlappedIo operation(m_source);
    operation.PrepareBuffer(Bytes{1, 2}, 5);
    EXPECT_EQ(operation.GetBuffer(), (Bytes{1, 2, 0, 0, 0, 0, 0}));
    End(operation, NtStatus::Success, {3, 4});
    operation.ResizeBuffer();
    EXPECT_EQ(operation.GetBuffer(), (Bytes{1, 2, 3, 4}));
    operation.ResizeBuffer();
    EXPECT_EQ(operation.GetBuffer(), (Bytes{1, 2, 3, 4}));
}

TEST_F(OverlappedIoTest, JoiningTakesTheBufferOfTheRest)
{
    OverlappedIo first = Reading(2);
    OverlappedIo rest(m_source);
    rest.PrepareBuffer(Bytes{1, 2}, 2);
    End(rest, NtStatus::BufferOverflow, {3, 4});
    first.Join(rest, false);
    EXPECT_EQ(first.GetBuffer(), (Bytes{1, 2, 3, 4}));
    EXPECT_FALSE(first.IsJoined());
    OverlappedIo last(m_source);
    last.PrepareBuffer(first.GetBuffer(), 1);
    End(last, NtStatus::Success, {5});
    first.Join(last, true);
    EXPECT_EQ(first.GetBuffer(), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_TRUE(first.IsJoined());
}

TEST_F(OverlappedIoTest, WhatWasJoinedGoesWithAMove)
{
    OverlappedIo first = Reading(1);
    OverlappedIo rest = Reading(1);
    End(rest, NtStatus::Success, {9});
    first.Join(rest, true);
    OverlappedIo second;
    EXPECT_FALSE(second.IsJoined());
    second = std::move(first);
    EXPECT_TRUE(second.IsJoined());
    EXPECT_EQ(second.GetBuffer(), Bytes{9});
    EXPECT_FALSE(first.IsJoined()); // NOLINT(bugprone-use-after-move): what is left is looked at
    EXPECT_EQ(RuntimeText([&] { (void)first.GetBuffer(); }), "IoOverlapped is null");
}

TEST_F(OverlappedIoTest, CanBeMovedAndNotCopiedButItsOperationCan)
{
    static_assert(!std::is_copy_constructible_v<OverlappedIo> && !std::is_copy_assignable_v<OverlappedIo>);
    static_assert(std::is_nothrow_move_constructible_v<OverlappedIo>);
    OverlappedIo operation = Reading(4);
    OverlappedOp copy(operation);
    End(operation, NtStatus::Success, {1});
    EXPECT_TRUE(copy.WaitForCompletion(0));
    // The copy is no read: it cuts nothing.
    EXPECT_EQ(operation.GetBuffer().size(), 4U);
}

TEST_F(OverlappedIoTest, TheBufferStaysWhereItIsWhenAPendingReadIsMoved)
{
    OverlappedIo first = Reading(100);
    const std::uint8_t* const place = first.GetBuffer().data();
    OverlappedIo second = std::move(first);
    OverlappedIo third;
    third = std::move(second);
    EXPECT_EQ(third.GetBuffer().data(), place);
}
