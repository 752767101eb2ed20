#include "shared.concurrency-overlappedop.hpp"

#include "contract.capturedstandarderror.hpp"
#include "shared.time-clock.hpp"
#include "test.fakeoverlappedsource.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

using namespace Shared::Concurrency;
using Fakes::FakeOverlappedSource;
using Shared::Log::Level;
using TestSupport::RuntimeText;
using TestSupport::Stopwatch;
using TestSupport::Win32Text;

namespace
{

constexpr std::uint32_t IoPending = 997;
constexpr std::uint32_t MoreData = 234;

/// Counts its completions, and fails in them when told to.
class HookedOp : public OverlappedOp
{
public:
    using OverlappedOp::OverlappedOp;

    int completions = 0;
    const char* failure = nullptr;

protected:
    void OnCompletion() override
    {
        ++completions;
        if (failure != nullptr)
        {
            throw std::runtime_error(failure);
        }
    }
};

class OverlappedOpTest : public testing::Test
{
protected:
    /// Pending, as a pipe leaves it.
    OverlappedOp Started() const
    {
        OverlappedOp operation(m_source);
        operation.GetOverlapped()->Begin();
        operation.SetStartResult(IoPending);
        return operation;
    }

    static void End(const OverlappedOp& operation, std::uint32_t status, std::size_t count = 0)
    {
        operation.GetOverlapped()->Finish(status, count);
        operation.GetOverlapped()->Signal();
    }

    std::shared_ptr<FakeOverlappedSource> m_source = std::make_shared<FakeOverlappedSource>();
};

OverlappedOp MovedFrom()
{
    OverlappedOp operation;
    const OverlappedOp taken = std::move(operation);
    return operation; // NOLINT(bugprone-use-after-move): what is left is what is wanted
}

} // namespace

TEST_F(OverlappedOpTest, ADefaultOneHasBlockAndEventAndIsOnNothing)
{
    OverlappedOp operation;
    EXPECT_TRUE(operation.IsValid());
    EXPECT_NE(operation.GetOverlapped(), nullptr);
    EXPECT_NE(operation.GetWaitableHandle(), nullptr);
    EXPECT_TRUE(operation.IsComplete());
    EXPECT_TRUE(operation.IsSuccessful());
    EXPECT_FALSE(operation.IsPartial());
    EXPECT_EQ(operation.GetStatus(), 0U);
    EXPECT_EQ(operation.GetRawStatus(), 0U);
    EXPECT_EQ(operation.GetBytesTransferred(), 0U);
    EXPECT_EQ(operation.GetStartResult(), 0U);
    EXPECT_FALSE(operation.WaitForCompletion(0));
}

TEST_F(OverlappedOpTest, AMovedFromOneHasNeitherBlockNorEvent)
{
    OverlappedOp operation = MovedFrom();
    EXPECT_FALSE(operation.IsValid());
    EXPECT_FALSE(operation.IsComplete());
    EXPECT_FALSE(operation.IsSuccessful());
    EXPECT_EQ(operation.GetBytesTransferred(), 0U);
    EXPECT_EQ(operation.GetRawStatus(), 0U);
    EXPECT_EQ(RuntimeText([&] { (void)operation.WaitForCompletion(0); }), "IoOverlapped is null");
    EXPECT_EQ(RuntimeText([&] { (void)operation.GetWaitableHandle(); }), "Event is null");
    EXPECT_EQ(RuntimeText([&] { (void)operation.GetOverlapped(); }), "IoOverlapped is null");
    EXPECT_EQ(RuntimeText([&] { (void)operation.GetStatus(); }), "IoOverlapped is null");
    EXPECT_EQ(RuntimeText([&] { (void)operation.IsPartial(); }), "IoOverlapped is null");
    EXPECT_EQ(RuntimeText([&] { operation.SetSignalled(true); }), "Event is null");
    EXPECT_EQ(RuntimeText([&] { operation.SetSignalled(false); }), "Event is null");
    EXPECT_NO_THROW(operation.CancelIfSourceSet());
}

TEST_F(OverlappedOpTest, GetStatusIsTheStartResultWhenTheOperationDidNotGoPending)
{
    OverlappedOp operation(m_source);
    operation.GetOverlapped()->Finish(NtStatus::BufferOverflow, 5120);
    operation.SetStartResult(MoreData);
    EXPECT_EQ(operation.GetStatus(), MoreData);
    EXPECT_EQ(operation.GetRawStatus(), NtStatus::BufferOverflow);
    EXPECT_TRUE(operation.IsPartial());
    EXPECT_EQ(operation.GetStartResult(), MoreData);
}

TEST_F(OverlappedOpTest, GetStatusIsTheNtStatusWhenItDid)
{
    const OverlappedOp operation = Started();
    EXPECT_EQ(operation.GetStatus(), 259U);
    End(operation, NtStatus::PipeBroken);
    EXPECT_EQ(operation.GetStatus(), 0xC000014BU);
}

TEST_F(OverlappedOpTest, TheStatesFollowTheStatus)
{
    const OverlappedOp operation = Started();
    EXPECT_FALSE(operation.IsComplete());
    EXPECT_FALSE(operation.IsSuccessful());
    EXPECT_FALSE(operation.IsPartial());
    End(operation, NtStatus::Success, 12);
    EXPECT_TRUE(operation.IsComplete());
    EXPECT_TRUE(operation.IsSuccessful());
    EXPECT_FALSE(operation.IsPartial());
    EXPECT_EQ(operation.GetBytesTransferred(), 12U);
    End(operation, NtStatus::BufferOverflow, 11);
    EXPECT_TRUE(operation.IsComplete());
    EXPECT_FALSE(operation.IsSuccessful());
    EXPECT_TRUE(operation.IsPartial());
    End(operation, NtStatus::Cancelled);
    EXPECT_TRUE(operation.IsComplete());
    EXPECT_FALSE(operation.IsSuccessful());
    EXPECT_FALSE(operation.IsPartial());
}

TEST_F(OverlappedOpTest, ASuccessfulEndRunsTheHookOnceForEachWait)
{
    HookedOp operation(m_source);
    operation.GetOverlapped()->Begin();
    EXPECT_FALSE(operation.WaitForCompletion(0));
    EXPECT_EQ(operation.completions, 0);
    End(operation, NtStatus::Success);
    EXPECT_TRUE(operation.WaitForCompletion(0));
    EXPECT_EQ(operation.completions, 1);
    EXPECT_TRUE(operation.WaitForCompletion(0));
    EXPECT_EQ(operation.completions, 2);
}

TEST_F(OverlappedOpTest, AnEndWithoutSuccessRunsNoHook)
{
    HookedOp operation(m_source);
    for (const std::uint32_t status : {NtStatus::Cancelled, NtStatus::PipeBroken, NtStatus::BufferOverflow})
    {
        operation.GetOverlapped()->Begin();
        End(operation, status);
        EXPECT_TRUE(operation.WaitForCompletion(0));
        EXPECT_EQ(operation.completions, 0);
    }
}

TEST_F(OverlappedOpTest, AWaitLastsUntilTheTimeOut)
{
    OverlappedOp operation = Started();
    const Stopwatch watch;
    EXPECT_FALSE(operation.WaitForCompletion(50));
    EXPECT_GE(watch.ElapsedMs(), 50.0);
}

TEST_F(OverlappedOpTest, AnEndOnAnotherThreadEndsTheWait)
{
    OverlappedOp operation = Started();
    std::thread system(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            End(operation, NtStatus::Success);
        });
    EXPECT_TRUE(operation.WaitForCompletion(Shared::Time::Infinite));
    system.join();
}

TEST_F(OverlappedOpTest, TheNothrowWaitGivesTheSameAnswers)
{
    OverlappedOp operation = Started();
    EXPECT_FALSE(operation.WaitForCompletion(0, std::nothrow));
    End(operation, NtStatus::Success);
    EXPECT_TRUE(operation.WaitForCompletion(0, std::nothrow));
}

TEST_F(OverlappedOpTest, TheNothrowWaitWritesAFailureToTheStandardErrorStream)
{
    OverlappedOp operation = MovedFrom();
    Contract::CapturedStandardError captured;
    EXPECT_FALSE(operation.WaitForCompletion(0, std::nothrow));
    const std::string text = captured.Finish();
    EXPECT_TRUE(text.starts_with("OverlappedOp::WaitForCompletion(const DWORD timeout, std::nothrow_t): Exception in "))
        << text;
    EXPECT_NE(text.find(" --> IoOverlapped is null"), std::string::npos) << text;
}

TEST_F(OverlappedOpTest, TheNothrowWaitCallsAFailureWithoutATextUnknown)
{
    HookedOp operation(m_source);
    operation.failure = "";
    End(operation, NtStatus::Success);
    Contract::CapturedStandardError captured;
    EXPECT_FALSE(operation.WaitForCompletion(0, std::nothrow));
    const std::string text = captured.Finish();
    EXPECT_EQ(
        text.substr(0, text.find_first_of("\r\n")),
        "OverlappedOp::WaitForCompletion(const DWORD timeout, std::nothrow_t): Unknown exception");
}

TEST_F(OverlappedOpTest, SetSignalledSignalsAndResetsTheEventAlone)
{
    OverlappedOp operation = Started();
    operation.SetSignalled(true);
    EXPECT_TRUE(operation.WaitForCompletion(0));
    EXPECT_FALSE(operation.IsComplete());
    operation.SetSignalled(false);
    EXPECT_FALSE(operation.WaitForCompletion(0));
    End(operation, NtStatus::Success);
    operation.SetSignalled(false);
    EXPECT_FALSE(operation.WaitForCompletion(0));
    EXPECT_TRUE(operation.IsSuccessful());
}

TEST_F(OverlappedOpTest, APendingOneIsBroughtUpToDateByEveryLook)
{
    OverlappedOp operation = Started();
    EXPECT_FALSE(operation.IsComplete());
    EXPECT_EQ(m_source->looks, 1);
    m_source->endsWhenLookedAt = true;
    EXPECT_EQ(operation.GetBytesTransferred(), 3U);
    EXPECT_EQ(m_source->looks, 2);
    EXPECT_TRUE(operation.IsSuccessful());
    EXPECT_EQ(operation.GetStatus(), 0U);
    // Once it has ended nobody is asked.
    EXPECT_EQ(m_source->looks, 2);
}

TEST_F(OverlappedOpTest, CancellingIsPassedOnToTheSource)
{
    OverlappedOp operation = Started();
    operation.CancelIfSourceSet();
    ASSERT_EQ(m_source->cancelled.size(), 1U);
    EXPECT_EQ(m_source->cancelled.front(), operation.GetOverlapped());
}

TEST_F(OverlappedOpTest, AnOperationWithoutASourceIgnoresCancelling)
{
    OverlappedOp operation;
    const TestSupport::CapturedLog log;
    EXPECT_NO_THROW(operation.CancelIfSourceSet());
    operation.CancelIfSourceSet(std::nothrow);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(OverlappedOpTest, ARefusedCancellingThrowsAndTheNothrowFormLogsIt)
{
    OverlappedOp operation = Started();
    m_source->cancelResult = 1168;
    EXPECT_EQ(Win32Text([&] { operation.CancelIfSourceSet(); }), "CancelIoEx() failed");
    const TestSupport::CapturedLog log;
    operation.CancelIfSourceSet(std::nothrow);
    EXPECT_EQ(log.Count(Level::Error, "CancelIfSourceSet() failed."), 1U);
    EXPECT_EQ(log.Count(Level::Error, "CancelIoEx() failed"), 1U);
}

TEST_F(OverlappedOpTest, CancellingOnASourceThatHasGoneFindsNothing)
{
    OverlappedOp operation = Started();
    m_source.reset();
    EXPECT_EQ(Win32Text([&] { operation.CancelIfSourceSet(); }), "CancelIoEx() failed");
    EXPECT_FALSE(operation.IsComplete());
    EXPECT_FALSE(operation.WaitForCompletion(0));
}

TEST_F(OverlappedOpTest, DroppingAnOperationCancelsNothing)
{
    {
        const OverlappedOp operation = Started();
    }
    EXPECT_TRUE(m_source->cancelled.empty());
}

TEST_F(OverlappedOpTest, TheBlockOutlivesADroppedOperationAsLongAsTheSystemHasIt)
{
    std::shared_ptr<OverlappedBlock> kept;
    {
        const OverlappedOp operation = Started();
        kept = operation.ShareBlock();
    }
    kept->GetBuffer().assign(100, 1);
    kept->Finish(NtStatus::Success, 100);
    kept->Signal();
    EXPECT_TRUE(kept->GetEvent().WaitOnEvent(0));
}

TEST_F(OverlappedOpTest, AMoveTakesEverythingAndLeavesNoSource)
{
    OverlappedOp first = Started();
    OverlappedBlock* const block = first.GetOverlapped();
    OverlappedOp second;
    second = std::move(first);
    EXPECT_EQ(second.GetOverlapped(), block);
    EXPECT_EQ(second.GetStartResult(), IoPending);
    second.CancelIfSourceSet();
    EXPECT_EQ(m_source->cancelled.size(), 1U);
    first.CancelIfSourceSet(); // NOLINT(bugprone-use-after-move): what is left is looked at
    EXPECT_EQ(m_source->cancelled.size(), 1U);
    EXPECT_FALSE(first.IsValid());
}

TEST_F(OverlappedOpTest, AMoveOntoItselfChangesNothing)
{
    OverlappedOp operation = Started();
    OverlappedOp& same = operation;
    operation = std::move(same);
    EXPECT_TRUE(operation.IsValid());
    EXPECT_EQ(operation.GetStatus(), 259U);
}

TEST_F(OverlappedOpTest, ACopySharesTheRunningOperation)
{
    OverlappedOp first = Started();
    OverlappedOp second;
    second = first;
    const OverlappedOp third(first);
    EXPECT_EQ(second.GetOverlapped(), first.GetOverlapped());
    EXPECT_EQ(second.GetWaitableHandle(), first.GetWaitableHandle());
    EXPECT_EQ(third.GetStatus(), 259U);
    std::thread waiter([&] { EXPECT_TRUE(second.WaitForCompletion(TestSupport::LimitMs)); });
    End(first, NtStatus::Success);
    waiter.join();
    EXPECT_EQ(third.GetStatus(), 0U);
    second.CancelIfSourceSet();
    EXPECT_EQ(m_source->cancelled.size(), 1U);
}
