#include "shared.concurrency-event.hpp"

#include "contract.concurrencychild.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.raii-nativehandle.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-sanitizers.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using Contract::ConcurrencyChild;
using Contract::ToWord;
using Contract::ChildCode::Yes;
using Shared::Concurrency::Event;
using Shared::Concurrency::WaitFor;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::RuntimeText;
using TestSupport::Stopwatch;
using TestSupport::Win32Text;

namespace
{

/// Until `condition` holds or the limit is reached; whether it holds.
template <typename Condition>
bool Eventually(Condition condition)
{
    const Stopwatch watch;
    while (!condition())
    {
        if (watch.ElapsedMs() > LimitMs)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool Exists(const std::wstring& name)
{
    try
    {
        (void)Event::OpenForWaiting(name);
        return true;
    }
    catch (const Win32Exception&)
    {
        return false;
    }
}

} // namespace

/// Both kinds, unnamed and named.
struct EventCase
{
    bool manualReset;
    bool named;
};

class EventOfEachFormTest : public testing::TestWithParam<EventCase>
{
protected:
    Event Make(bool inheritable = false) const
    {
        return GetParam().named ? Event(inheritable, GetParam().manualReset, m_names.Unique(L"form"))
                                : Event(inheritable, GetParam().manualReset);
    }

    TestSupport::EventNames m_names;
};

INSTANTIATE_TEST_SUITE_P(
    Forms,
    EventOfEachFormTest,
    testing::Values(EventCase{true, false}, EventCase{false, false}, EventCase{true, true}, EventCase{false, true}),
    [](const testing::TestParamInfo<EventCase>& form) {
        return std::string(form.param.named ? "Named" : "Unnamed") + (form.param.manualReset ? "Manual" : "Automatic");
    });

TEST_P(EventOfEachFormTest, StartsUnsignalled)
{
    const Event event = Make();
    EXPECT_TRUE(event.HasHandle());
    EXPECT_EQ(event.IsManualReset(), GetParam().manualReset);
    EXPECT_FALSE(event.WaitOnEvent(0));
}

TEST_P(EventOfEachFormTest, ASignalBeforeTheWaitIsSeen)
{
    Event event = Make();
    event.Signal();
    EXPECT_TRUE(event.WaitOnEvent(0));
}

TEST_P(EventOfEachFormTest, ASignalDuringTheWaitEndsIt)
{
    Event event = Make();
    std::atomic<bool> woken = false;
    std::thread waiter([&] { woken = event.WaitOnEvent(LimitMs); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    event.Signal();
    waiter.join();
    EXPECT_TRUE(woken);
}

TEST_P(EventOfEachFormTest, AWaitWithoutATimeOutEndsByTheSignal)
{
    Event event = Make();
    std::atomic<bool> woken = false;
    std::thread waiter([&] { woken = event.WaitOnEvent(); });
    event.Signal();
    waiter.join();
    EXPECT_TRUE(woken);
}

TEST_P(EventOfEachFormTest, ATimeOutLastsAtLeastItsTime)
{
    const Event event = Make();
    const Stopwatch watch;
    EXPECT_FALSE(event.WaitOnEvent(50));
    EXPECT_GE(watch.ElapsedMs(), 50.0);
}

TEST_P(EventOfEachFormTest, ManualStaysSignalledAndAutomaticIsTakenByOneWait)
{
    Event event = Make();
    event.Signal();
    EXPECT_TRUE(event.WaitOnEvent(0));
    EXPECT_EQ(event.WaitOnEvent(0), GetParam().manualReset);
    EXPECT_EQ(event.WaitOnEvent(0), GetParam().manualReset);
}

TEST_P(EventOfEachFormTest, TwoSignalsBeforeAWaitAreOneWakeUp)
{
    Event event = Make();
    event.Signal();
    event.Signal();
    EXPECT_TRUE(event.WaitOnEvent(0));
    EXPECT_EQ(event.WaitOnEvent(0), GetParam().manualReset);
}

TEST_P(EventOfEachFormTest, ResetClearsAManualEventAndLeavesAnAutomaticOneToItsWaiters)
{
    Event event = Make();
    event.Signal();
    event.Reset();
    EXPECT_EQ(event.WaitOnEvent(0), !GetParam().manualReset);
}

TEST_P(EventOfEachFormTest, ResetOfAnUnsignalledEventPasses)
{
    Event event = Make();
    event.Reset();
    event.Reset();
    EXPECT_FALSE(event.WaitOnEvent(0));
    event.Signal();
    EXPECT_TRUE(event.WaitOnEvent(0));
}

TEST_P(EventOfEachFormTest, SignallingAHundredThousandTimesNeitherBlocksNorFails)
{
    Event event = Make();
    for (int i = 0; i < 100'000; ++i)
    {
        ASSERT_NO_THROW(event.Signal());
    }
    EXPECT_TRUE(event.WaitOnEvent(0));
    EXPECT_EQ(event.WaitOnEvent(0), GetParam().manualReset);
    event.Reset();
    EXPECT_FALSE(event.WaitOnEvent(0));
}

TEST_P(EventOfEachFormTest, ASignalReleasesAllWaitersOfAManualEventAndExactlyOneOfAnAutomaticOne)
{
    constexpr int Waiters = 8;
    Event event = Make();
    std::atomic<int> woken = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < Waiters; ++i)
    {
        threads.emplace_back([&] { woken += event.WaitOnEvent(LimitMs) ? 1 : 0; });
    }
    for (int signals = 1; signals <= Waiters; ++signals)
    {
        const int expected = GetParam().manualReset ? Waiters : signals;
        event.Signal();
        EXPECT_TRUE(Eventually([&] { return woken == expected; })) << woken;
        std::this_thread::sleep_for(std::chrono::milliseconds(signals == 1 ? QuietMs : 0));
        EXPECT_EQ(woken, expected);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(event.WaitOnEvent(0), GetParam().manualReset);
}

TEST_P(EventOfEachFormTest, AsManySignalsAsWaitsInTurnAreNeverLost)
{
    Event there = Make();
    Event back = Make();
    constexpr int Turns = 2000;
    std::thread partner(
        [&]
        {
            for (int i = 0; i < Turns && there.WaitOnEvent(LimitMs); ++i)
            {
                there.Reset();
                back.Signal();
            }
        });
    int turns = 0;
    for (; turns < Turns; ++turns)
    {
        there.Signal();
        if (!back.WaitOnEvent(LimitMs))
        {
            break;
        }
        back.Reset();
    }
    partner.join();
    EXPECT_EQ(turns, Turns);
}

TEST_P(EventOfEachFormTest, WhatWasWrittenBeforeASignalIsReadAfterTheWait)
{
    Event event = Make();
    std::string message;
    std::thread writer(
        [&]
        {
            message = "written before the signal";
            event.Signal();
        });
    EXPECT_TRUE(event.WaitOnEvent(LimitMs));
    EXPECT_EQ(message, "written before the signal");
    writer.join();
}

TEST_P(EventOfEachFormTest, ACopySharesTheObject)
{
    Event event = Make();
    Event copy = event;
    EXPECT_NE(copy.GetHandle(), event.GetHandle());
    EXPECT_EQ(copy.GetName(), event.GetName());
    EXPECT_EQ(copy.IsManualReset(), event.IsManualReset());
    event.Signal();
    EXPECT_TRUE(copy.WaitOnEvent(0));
    EXPECT_EQ(event.WaitOnEvent(0), GetParam().manualReset);
    event.Close();
    copy.Signal();
    EXPECT_TRUE(copy.WaitOnEvent(0));
}

TEST_P(EventOfEachFormTest, CopyAssignmentSharesTheObjectAndDropsTheOldOne)
{
    Event event = Make();
    Event assigned(false, !GetParam().manualReset);
    assigned.Signal();
    assigned = event;
    EXPECT_FALSE(assigned.WaitOnEvent(0));
    EXPECT_EQ(assigned.IsManualReset(), event.IsManualReset());
    EXPECT_EQ(assigned.GetName(), event.GetName());
    event.Signal();
    EXPECT_TRUE(assigned.WaitOnEvent(0));
}

TEST_P(EventOfEachFormTest, MovingEmptiesTheSource)
{
    Event event = Make();
    const auto handle = event.GetHandle();
    const std::wstring name = event.GetName();
    event.Signal();
    Event moved = std::move(event);
    EXPECT_FALSE(event.HasHandle()); // NOLINT(bugprone-use-after-move): what is left is told
    EXPECT_TRUE(event.GetName().empty());
    EXPECT_FALSE(event.IsManualReset());
    EXPECT_EQ(moved.GetHandle(), handle);
    EXPECT_EQ(moved.GetName(), name);
    EXPECT_EQ(moved.IsManualReset(), GetParam().manualReset);
    EXPECT_TRUE(moved.WaitOnEvent(0));

    Event assigned(false, false);
    assigned = std::move(moved);
    EXPECT_FALSE(moved.HasHandle()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(assigned.GetHandle(), handle);
    EXPECT_EQ(assigned.GetName(), name);
}

TEST_P(EventOfEachFormTest, AssigningToItselfChangesNothing)
{
    Event event = Make();
    event.Signal();
    Event& same = event;
    event = same;
    EXPECT_TRUE(event.HasHandle());
    event = std::move(same);
    EXPECT_TRUE(event.HasHandle());
    EXPECT_EQ(event.IsManualReset(), GetParam().manualReset);
    EXPECT_TRUE(event.WaitOnEvent(0));
}

TEST_P(EventOfEachFormTest, DetachClearsNameAndKindAndLeavesTheHandleOpen)
{
    Event event = Make();
    Event observer = event;
    const auto handle = event.GetHandle();
    EXPECT_EQ(event.Detach(), handle);
    EXPECT_FALSE(event.HasHandle());
    EXPECT_EQ(event.GetHandle(), nullptr);
    EXPECT_TRUE(event.GetName().empty());
    EXPECT_FALSE(event.IsManualReset());
    const Shared::Raii::Win32Handle owner(handle);
    EXPECT_NO_THROW((void)owner.IsInheritable());
}

TEST_P(EventOfEachFormTest, CloseClearsNameAndKindAndMayBeRepeated)
{
    Event event = Make();
    event.Close();
    EXPECT_FALSE(event.HasHandle());
    EXPECT_TRUE(event.GetName().empty());
    EXPECT_FALSE(event.IsManualReset());
    event.Close();
    EXPECT_FALSE(event.HasHandle());
}

TEST_P(EventOfEachFormTest, WithASystemHandleThatWasClosedTheFailuresAreTheSystems)
{
    Event event = Make();
    ASSERT_TRUE(TestSupport::CloseUnderItsOwner(event.GetHandle()));
    EXPECT_EQ(Win32Text([&] { event.Signal(); }), "Failed to signal event");
    EXPECT_EQ(Win32Text([&] { (void)event.WaitOnEvent(0); }), "WaitForSingleObject failed");
    EXPECT_EQ(
        Win32Text([&] { event.Reset(); }), GetParam().manualReset ? "ResetEvent() failed" : "(nothing was thrown)");
    event.Detach();
}

TEST_P(EventOfEachFormTest, AChildSignalsAnInheritedEvent)
{
    const Event event = Make(true);
    ConcurrencyChild child({L"--signal-handle", ToWord(event.GetHandle())});
    EXPECT_EQ(child.Wait(), Yes);
    EXPECT_TRUE(event.WaitOnEvent(LimitMs));
}

TEST_P(EventOfEachFormTest, AChildDoesNotGetAnEventThatIsNotInheritable)
{
    const Event event = Make(false);
    ConcurrencyChild child({L"--signal-handle", ToWord(event.GetHandle())});
    child.Wait(); // with what result is open: it may have another handle of that number
    EXPECT_FALSE(event.WaitOnEvent(0));
}

TEST_P(EventOfEachFormTest, ASignalledEventThatIsDestroyedUnderItsWaiterNeitherCrashesNorHangsIt)
{
    if (TestSupport::IsThreadSanitized)
    {
        GTEST_SKIP() << "this is the race that the sanitizer looks for";
    }
    for (int i = 0; i < 20; ++i)
    {
        auto event = std::make_unique<Event>(Make());
        const auto handle = event->GetHandle();
        std::atomic<bool> started = false;
        std::thread waiter(
            [&started, handle]
            {
                started = true;
                try
                {
                    (void)WaitFor(handle, LimitMs);
                }
                catch (const Win32Exception&)
                {
                    // The other way in which it may end.
                }
            });
        EXPECT_TRUE(Eventually([&] { return started.load(); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const Stopwatch watch;
        event->Signal();
        event.reset();
        waiter.join();
        EXPECT_LT(watch.ElapsedMs(), LimitMs / 2.0);
    }
}

class EventTest : public testing::Test
{
protected:
    TestSupport::EventNames m_names;
};

TEST_F(EventTest, WithoutAnObjectEveryOperationSaysWhatIsMissing)
{
    Event none;
    EXPECT_FALSE(none.HasHandle());
    EXPECT_EQ(none.GetHandle(), nullptr);
    EXPECT_EQ(RuntimeText([&] { none.Signal(); }), "No Event to signal");
    EXPECT_EQ(RuntimeText([&] { none.Reset(); }), "No Event to reset");
    EXPECT_EQ(RuntimeText([&] { (void)none.WaitOnEvent(0); }), "No Event to wait on");
    EXPECT_EQ(RuntimeText([&] { (void)none.WaitOnEvent(); }), "No Event to wait on");
    EXPECT_EQ(none.Detach(), nullptr);
    EXPECT_NO_THROW(none.Close());
}

TEST_F(EventTest, SignalNoThrowLogsWhatSignalThrows)
{
    const TestSupport::CapturedLog log;
    Event none;
    none.SignalNoThrow();
    EXPECT_EQ(log.Count(Level::Error, "Signal() failed"), 1U);
    EXPECT_EQ(log.Count(Level::Error, "No Event to signal"), 1U);

    Event closed(false, true);
    ASSERT_TRUE(TestSupport::CloseUnderItsOwner(closed.GetHandle()));
    closed.SignalNoThrow();
    EXPECT_EQ(log.Count(Level::Error, "Signal() failed"), 2U);
    EXPECT_EQ(log.Count(Level::Error, "Failed to signal event"), 1U);
    closed.Detach();
}

TEST_F(EventTest, SignalNoThrowSignalsAndLogsNothing)
{
    const TestSupport::CapturedLog log;
    Event event(false, false);
    event.SignalNoThrow();
    EXPECT_TRUE(event.WaitOnEvent(0));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(EventTest, CopiesOfNoEventAreNoEvents)
{
    const Event none;
    Event copy = none;
    EXPECT_FALSE(copy.HasHandle());
    Event assigned(false, true, m_names.Unique(L"assigned"));
    assigned = none;
    EXPECT_FALSE(assigned.HasHandle());
    EXPECT_TRUE(assigned.GetName().empty());
}

TEST_F(EventTest, ACopyThatTheSystemRefusesThrowsAndLeavesTheTargetAsItWas)
{
    Event closed(false, true);
    ASSERT_TRUE(TestSupport::CloseUnderItsOwner(closed.GetHandle()));
    EXPECT_EQ(Win32Text([&] { const Event copy = closed; }), "DuplicateHandle() failed");
    closed.Detach();
}

TEST_F(EventTest, ASecondEventOfTheNameIsTheSameOne)
{
    const std::wstring name = m_names.Unique(L"shared");
    Event first(false, true, name);
    Event second(false, true, name);
    EXPECT_EQ(second.GetName(), name);
    first.Signal();
    EXPECT_TRUE(second.WaitOnEvent(0));
    second.Reset();
    EXPECT_FALSE(first.WaitOnEvent(0));
}

TEST_F(EventTest, AnotherNameIsAnotherEvent)
{
    Event first(false, true, m_names.Unique(L"one"));
    const Event second(false, true, m_names.Unique(L"two"));
    first.Signal();
    EXPECT_FALSE(second.WaitOnEvent(0));
}

TEST_F(EventTest, NamesAreToldApartByCase)
{
    const std::wstring name = m_names.Unique(L"case");
    Event lower(false, true, name);
    std::wstring other = name;
    other.front() = L'C';
    const Event upper(false, true, other);
    lower.Signal();
    EXPECT_FALSE(upper.WaitOnEvent(0));
}

TEST_F(EventTest, CreatingAnExistingNameKeepsItsState)
{
    const std::wstring name = m_names.Unique(L"state");
    Event first(false, true, name);
    first.Signal();
    const Event second(false, true, name);
    EXPECT_TRUE(second.WaitOnEvent(0));
    EXPECT_TRUE(first.WaitOnEvent(0));
}

TEST_F(EventTest, CreatingAnExistingAutomaticNameAsManualKeepsItAutomatic)
{
    const std::wstring name = m_names.Unique(L"kind");
    Event automatic(false, false, name);
    automatic.Signal();
    const Event manual(false, true, name);
    EXPECT_TRUE(manual.WaitOnEvent(0));
    EXPECT_FALSE(manual.WaitOnEvent(0));
    EXPECT_FALSE(automatic.WaitOnEvent(0));
}

TEST_F(EventTest, CreatingAnExistingManualNameAsAutomaticKeepsItManual)
{
    const std::wstring name = m_names.Unique(L"kind");
    Event manual(false, true, name);
    manual.Signal();
    Event automatic(false, false, name);
    EXPECT_TRUE(automatic.WaitOnEvent(0));
    EXPECT_TRUE(automatic.WaitOnEvent(0));
    automatic.Reset();
    EXPECT_TRUE(manual.WaitOnEvent(0));
    manual.Reset();
    EXPECT_FALSE(automatic.WaitOnEvent(0));
}

TEST_F(EventTest, ANameIsFreeAgainOnceNobodyHoldsIt)
{
    const std::wstring name = m_names.Unique(L"freed");
    {
        Event first(false, true, name);
        first.Signal();
    }
    const Event second(false, false, name);
    EXPECT_FALSE(second.WaitOnEvent(0));
    Event third(false, false, name);
    third.Signal();
    EXPECT_TRUE(second.WaitOnEvent(0));
    EXPECT_FALSE(second.WaitOnEvent(0));
}

TEST_F(EventTest, NamesMayHoldAnyCharacter)
{
    for (const wchar_t* const stem :
         {L"Global\\vel", L"a/b", L"\u00e4\u20ac", L"with blank", L"..", L"%2F", L"*?:\"<>|"})
    {
        const std::wstring name = m_names.Unique(stem);
        Event event(false, true, name);
        EXPECT_EQ(event.GetName(), name);
        const Event opened = Event::OpenForWaiting(name);
        event.Signal();
        EXPECT_TRUE(opened.WaitOnEvent(0));
    }
}

TEST_F(EventTest, StrangeNamesAreNotMixedUpWithWhatTheyAreWrittenAs)
{
    const std::wstring tail = m_names.Unique(L"");
    Event slash(false, true, L"a/b" + tail);
    const Event percent(false, true, L"a%2Fb" + tail);
    const Event plain(false, true, L"ab" + tail);
    slash.Signal();
    EXPECT_FALSE(percent.WaitOnEvent(0));
    EXPECT_FALSE(plain.WaitOnEvent(0));
}

TEST_F(EventTest, OpeningAnExistingEventIsForWaiting)
{
    const std::wstring name = m_names.Unique(L"opened");
    Event event(false, true, name);
    const Event opened = Event::OpenForWaiting(name);
    EXPECT_TRUE(opened.HasHandle());
    EXPECT_EQ(opened.GetName(), name);
    EXPECT_FALSE(opened.WaitOnEvent(0));
    event.Signal();
    EXPECT_TRUE(opened.WaitOnEvent(0));
    EXPECT_TRUE(opened.WaitOnEvent(0));
}

TEST_F(EventTest, OpeningAnAutomaticEventTakesItsSignals)
{
    const std::wstring name = m_names.Unique(L"opened");
    Event event(false, false, name);
    const Event opened = Event::OpenForWaiting(name);
    event.Signal();
    EXPECT_TRUE(opened.WaitOnEvent(0));
    EXPECT_FALSE(opened.WaitOnEvent(0));
    EXPECT_FALSE(event.WaitOnEvent(0));
}

TEST_F(EventTest, AnEventOpenedForWaitingCannotBeSignalledOrReset)
{
    const std::wstring name = m_names.Unique(L"opened");
    Event event(false, true, name);
    Event opened = Event::OpenForWaiting(name);
    EXPECT_EQ(Win32Text([&] { opened.Signal(); }), "Failed to signal event");
    EXPECT_FALSE(event.WaitOnEvent(0));
    event.Signal();
    EXPECT_EQ(Win32Text([&] { opened.Reset(); }), "ResetEvent() failed");
    EXPECT_TRUE(event.WaitOnEvent(0));
    Event copy = opened;
    EXPECT_EQ(Win32Text([&] { copy.Signal(); }), "Failed to signal event");
}

TEST_F(EventTest, OpeningAMissingNameFailsWithTheName)
{
    const std::wstring name = m_names.Unique(L"missing");
    EXPECT_EQ(
        Win32Text([&] { (void)Event::OpenForWaiting(name); }),
        "Failed to create or open event " + std::string(name.begin(), name.end()));
}

TEST_F(EventTest, OpeningTheNameOfADeadCreatorFails)
{
    const std::wstring name = m_names.Unique(L"dead");
    ConcurrencyChild creator({L"--hold-signalled", name});
    ASSERT_TRUE(Eventually([&] { return Exists(name); }));
    creator.Kill();
    EXPECT_EQ(
        Win32Text([&] { (void)Event::OpenForWaiting(name); }),
        "Failed to create or open event " + std::string(name.begin(), name.end()));
}

TEST_F(EventTest, WhatACrashedProcessLeftSignalledStartsUnsignalled)
{
    const std::wstring name = m_names.Unique(L"crashed");
    ConcurrencyChild creator({L"--hold-signalled", name});
    ASSERT_TRUE(Eventually([&] { return Exists(name) && Event::OpenForWaiting(name).WaitOnEvent(0); }));
    creator.Kill();
    Event fresh(false, false, name);
    EXPECT_FALSE(fresh.WaitOnEvent(0));
    fresh.Signal();
    EXPECT_TRUE(fresh.WaitOnEvent(0));
    EXPECT_FALSE(fresh.WaitOnEvent(0)); // and of the new kind
}

TEST_F(EventTest, ASignalOutlivesItsSenderWhileAnotherHoldsTheEvent)
{
    const std::wstring name = m_names.Unique(L"outlived");
    const Event event(false, true, name);
    ConcurrencyChild child({L"--signal", name});
    EXPECT_EQ(child.Wait(), Yes);
    EXPECT_TRUE(event.WaitOnEvent(0));
}

TEST_F(EventTest, AnOpenedEventLosesNothingWhenItsCreatorDies)
{
    const std::wstring name = m_names.Unique(L"orphan");
    ConcurrencyChild creator({L"--hold-signalled", name});
    ASSERT_TRUE(Eventually([&] { return Exists(name) && Event::OpenForWaiting(name).WaitOnEvent(0); }));
    const Event opened = Event::OpenForWaiting(name);
    creator.Kill();
    EXPECT_TRUE(opened.WaitOnEvent(0));
    // And its name is not free as long as it is held.
    EXPECT_TRUE(Event(false, true, name).WaitOnEvent(0));
}

TEST_F(EventTest, AnEventWhoseCreatorDiedUnsignalledIsNotWokenByThat)
{
    const std::wstring name = m_names.Unique(L"quiet");
    ConcurrencyChild creator({L"--hold", name});
    ASSERT_TRUE(Eventually([&] { return Exists(name); }));
    const Event opened = Event::OpenForWaiting(name);
    creator.Kill();
    EXPECT_FALSE(opened.WaitOnEvent(QuietMs));
}

TEST_F(EventTest, AnotherProcessWaitsForASignalByName)
{
    const std::wstring name = m_names.Unique(L"awaited");
    Event event(false, true, name);
    ConcurrencyChild child({L"--await", name});
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    event.Signal();
    EXPECT_EQ(child.Wait(), Yes);
}

TEST_F(EventTest, OneOfTwoProcessesTakesTheSignalOfAnAutomaticEvent)
{
    const std::wstring name = m_names.Unique(L"taken");
    Event event(false, false, name);
    ConcurrencyChild first({L"--await", name});
    ConcurrencyChild second({L"--await", name});
    event.Signal();
    const std::vector<Shared::Raii::RawHandle> ends{first.Handle(), second.Handle()};
    const std::uint32_t taker = WaitFor(ends, false, LimitMs);
    ASSERT_LT(taker, 2U);
    ConcurrencyChild& other = taker == 0 ? second : first;
    EXPECT_FALSE(WaitFor(other.Handle(), QuietMs));
    event.Signal();
    EXPECT_TRUE(WaitFor(other.Handle(), LimitMs));
    EXPECT_EQ(first.Wait(), Yes);
    EXPECT_EQ(second.Wait(), Yes);
}

TEST_F(EventTest, AGoodSecurityDescriptorIsTaken)
{
    const std::wstring name = m_names.Unique(L"guarded");
    Event event(false, true, name, L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;WD)");
    event.Signal();
    EXPECT_TRUE(Event::OpenForWaiting(name).WaitOnEvent(0));
    EXPECT_NO_THROW(Event(false, true, L"", L"D:P(A;;GA;;;WD)"));
}

TEST_F(EventTest, ABadSecurityDescriptorIsRefusedAndMakesNoEvent)
{
    const std::wstring name = m_names.Unique(L"unguarded");
    EXPECT_EQ(Win32Text([&] { Event(false, true, name, L"everybody may"); }), "Failed to convert security descriptor");
    EXPECT_FALSE(Exists(name));
}

TEST_F(EventTest, InheritabilityIsThatOfTheConstructorAndGoesWithACopy)
{
    for (const bool inheritable : {false, true})
    {
        for (const std::wstring& name : {std::wstring(), m_names.Unique(L"inherited")})
        {
            const Event event(inheritable, true, name);
            const Event copy = event;
            for (const auto handle : {event.GetHandle(), copy.GetHandle()})
            {
                bool answer = !inheritable;
                ASSERT_TRUE(Shared::Raii::Native::QueryInheritability(handle, answer));
                EXPECT_EQ(answer, inheritable);
            }
        }
    }
}

TEST_F(EventTest, ManyThreadsSignalResetAndWaitAtOnce)
{
    for (const std::wstring& name : {std::wstring(), m_names.Unique(L"busy")})
    {
        Event event(false, true, name);
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
        {
            threads.emplace_back(
                [&event, i]
                {
                    for (int turn = 0; turn < 500; ++turn)
                    {
                        if (i % 2 == 0)
                        {
                            event.Signal();
                        }
                        else
                        {
                            event.Reset();
                        }
                        (void)event.WaitOnEvent(0);
                    }
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        event.Signal();
        EXPECT_TRUE(event.WaitOnEvent(0));
        event.Reset();
        EXPECT_FALSE(event.WaitOnEvent(0));
    }
}

TEST_F(EventTest, ThreadsThatCreateTheSameNameAtOnceHaveTheSameEvent)
{
    constexpr int Threads = 4;
    for (int round = 0; round < 20; ++round)
    {
        const std::wstring name = m_names.Unique(L"contested");
        std::vector<Event> events(Threads);
        std::vector<std::thread> threads;
        for (Event& event : events)
        {
            threads.emplace_back([&event, &name] { event = Event(false, true, name); });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        events.front().Signal();
        EXPECT_TRUE(std::all_of(events.begin(), events.end(), [](const Event& event) { return event.WaitOnEvent(0); }));
        EXPECT_TRUE(events.back().WaitOnEvent(0));
    }
}
