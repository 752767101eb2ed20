#include "shared.raii-win32handle.hpp"

#include "contract.capturedstandarderror.hpp"
#include "contract.concurrencychild.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-waitabletimer.hpp"
#include "shared.raii-nativehandle.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

using Contract::CapturedStandardError;
using Contract::ConcurrencyChild;
using Contract::ToWord;
using Shared::Concurrency::Event;
using Shared::Concurrency::WaitFor;
using Shared::Raii::RawHandle;
using Shared::Raii::Win32Handle;
using TestSupport::RuntimeText;
using TestSupport::Win32Text;

namespace
{

constexpr const char* CloseText = "Failed to close handle due to a Win32 error";

RawHandle InvalidValue()
{
    return reinterpret_cast<RawHandle>(~std::uintptr_t{0});
}

/// An object to own: an event's handle, which nobody else owns.
RawHandle NewObject(bool inheritable = false)
{
    return Event(inheritable, true).Detach();
}

bool IsOpen(RawHandle raw)
{
    bool inheritable = false;
    return Shared::Raii::Native::QueryInheritability(raw, inheritable);
}

/// A handle that the system does not know any more. The next object that is made may have its number again.
RawHandle ClosedObject()
{
    const RawHandle raw = NewObject();
    EXPECT_TRUE(TestSupport::CloseUnderItsOwner(raw));
    return raw;
}

} // namespace

TEST(Win32HandleTest, StartsEmpty)
{
    const Win32Handle handle;
    EXPECT_FALSE(handle.IsValid());
    EXPECT_EQ(handle.GetRawHandle(), nullptr);
    EXPECT_FALSE(handle.IsInheritable());
}

TEST(Win32HandleTest, NullAndTheInvalidValueBothMeanNone)
{
    const Win32Handle any;
    EXPECT_TRUE(any.IsInvalid(nullptr));
    EXPECT_TRUE(any.IsInvalid(InvalidValue()));
    const Win32Handle real(NewObject());
    EXPECT_FALSE(any.IsInvalid(real.GetRawHandle()));
    for (const RawHandle none : {static_cast<RawHandle>(nullptr), InvalidValue()})
    {
        EXPECT_FALSE(Win32Handle(none).IsValid());
        Win32Handle handle(NewObject());
        handle.Attach(none);
        EXPECT_FALSE(handle.IsValid());
        EXPECT_FALSE(handle.IsInheritable());
        EXPECT_EQ(RuntimeText([&] { handle.SetInheritability(true); }), "Handle is null or invalid.");
    }
}

TEST(Win32HandleTest, TheInvalidValueClosesNothing)
{
    CapturedStandardError captured;
    {
        Win32Handle invalid(InvalidValue());
        Win32Handle null(nullptr);
        invalid.Close();
        invalid.Attach(InvalidValue());
        null.Attach(nullptr);
    }
    EXPECT_EQ(captured.Finish(), "");
}

TEST(Win32HandleTest, DestructionClosesTheHandle)
{
    const RawHandle raw = NewObject();
    {
        const Win32Handle handle(raw);
        EXPECT_TRUE(handle.IsValid());
        EXPECT_EQ(handle.GetRawHandle(), raw);
        EXPECT_TRUE(IsOpen(raw));
    }
    EXPECT_FALSE(IsOpen(raw));
}

TEST(Win32HandleTest, CloseClosesOnceAndMayBeRepeated)
{
    CapturedStandardError captured;
    const RawHandle raw = NewObject();
    Win32Handle handle(raw);
    handle.Close();
    EXPECT_FALSE(IsOpen(raw));
    EXPECT_FALSE(handle.IsValid());
    handle.Close();
    EXPECT_EQ(captured.Finish(), "");
}

TEST(Win32HandleTest, AttachClosesWhatItHeld)
{
    const RawHandle first = NewObject();
    const RawHandle second = NewObject();
    Win32Handle handle(first);
    handle.Attach(second);
    EXPECT_FALSE(IsOpen(first));
    EXPECT_TRUE(IsOpen(second));
    EXPECT_EQ(handle.GetRawHandle(), second);
}

TEST(Win32HandleTest, AttachingWhatItHoldsChangesNothing)
{
    const RawHandle raw = NewObject();
    Win32Handle handle(raw);
    handle.Attach(raw);
    EXPECT_TRUE(IsOpen(raw));
    EXPECT_EQ(handle.GetRawHandle(), raw);
}

TEST(Win32HandleTest, ReleaseGivesTheHandleUpWithoutClosingIt)
{
    const RawHandle raw = NewObject();
    Win32Handle handle(raw);
    EXPECT_EQ(handle.Release(), raw);
    EXPECT_FALSE(handle.IsValid());
    EXPECT_EQ(handle.Release(), nullptr);
    EXPECT_TRUE(IsOpen(raw));
    EXPECT_TRUE(Shared::Raii::Native::CloseHandle(raw));
}

TEST(Win32HandleTest, ACopyIsAHandleOfItsOwnToTheSameObject)
{
    Event event(false, true);
    const Win32Handle handle(Shared::Raii::Native::DuplicateHandle(event.GetHandle()));
    Win32Handle copy = handle;
    EXPECT_NE(copy.GetRawHandle(), handle.GetRawHandle());
    EXPECT_TRUE(copy == handle);
    event.Signal();
    EXPECT_TRUE(WaitFor(copy.GetRawHandle(), 0));
    copy.Close();
    EXPECT_TRUE(IsOpen(handle.GetRawHandle()));
}

TEST(Win32HandleTest, CopyAssignmentClosesWhatItHeldAndDuplicates)
{
    const RawHandle old = NewObject();
    Win32Handle target(old);
    const Win32Handle source(NewObject());
    target = source;
    EXPECT_FALSE(IsOpen(old));
    EXPECT_NE(target.GetRawHandle(), source.GetRawHandle());
    EXPECT_TRUE(target == source);
    target = Win32Handle();
    EXPECT_FALSE(target.IsValid());
}

TEST(Win32HandleTest, MovingTakesTheHandleOver)
{
    const RawHandle raw = NewObject();
    Win32Handle source(raw);
    Win32Handle moved = std::move(source);
    EXPECT_FALSE(source.IsValid()); // NOLINT(bugprone-use-after-move): what is left is told
    EXPECT_EQ(moved.GetRawHandle(), raw);
    const RawHandle old = NewObject();
    Win32Handle target(old);
    target = std::move(moved);
    EXPECT_FALSE(moved.IsValid()); // NOLINT(bugprone-use-after-move)
    EXPECT_FALSE(IsOpen(old));
    EXPECT_EQ(target.GetRawHandle(), raw);
    EXPECT_TRUE(IsOpen(raw));
    static_assert(std::is_nothrow_move_constructible_v<Win32Handle> && std::is_nothrow_move_assignable_v<Win32Handle>);
}

TEST(Win32HandleTest, AssigningToItselfChangesNothing)
{
    const RawHandle raw = NewObject();
    Win32Handle handle(raw);
    Win32Handle& same = handle;
    handle = same;
    EXPECT_EQ(handle.GetRawHandle(), raw);
    handle = std::move(same);
    EXPECT_EQ(handle.GetRawHandle(), raw);
    EXPECT_TRUE(IsOpen(raw));
}

TEST(Win32HandleTest, CopiesOfNoHandleAreEmpty)
{
    const Win32Handle none;
    EXPECT_FALSE(Win32Handle(none).IsValid());
    EXPECT_FALSE(none.Duplicate().IsValid());
    const RawHandle raw = NewObject();
    Win32Handle assigned(raw);
    assigned = none;
    EXPECT_FALSE(assigned.IsValid());
    EXPECT_FALSE(IsOpen(raw));
}

TEST(Win32HandleTest, DuplicateKeepsTheSourcesInheritability)
{
    for (const bool inheritable : {false, true})
    {
        const Win32Handle handle(NewObject(inheritable));
        const Win32Handle duplicate = handle.Duplicate();
        EXPECT_EQ(handle.IsInheritable(), inheritable);
        EXPECT_EQ(duplicate.IsInheritable(), inheritable);
        EXPECT_NE(duplicate.GetRawHandle(), handle.GetRawHandle());
        EXPECT_TRUE(duplicate == handle);
    }
}

TEST(Win32HandleTest, InheritabilityCanBeChangedForEachHandleAlone)
{
    Win32Handle handle(NewObject(false));
    const Win32Handle duplicate = handle.Duplicate();
    handle.SetInheritability(true);
    EXPECT_TRUE(handle.IsInheritable());
    EXPECT_FALSE(duplicate.IsInheritable());
    handle.SetInheritability(true);
    EXPECT_TRUE(handle.IsInheritable());
    handle.SetInheritability(false);
    EXPECT_FALSE(handle.IsInheritable());
}

TEST(Win32HandleTest, AChildGetsExactlyTheInheritableHandles)
{
    Win32Handle handle(NewObject(false));
    // A child without the handle may have another one of that number, so what counts is whether the object notices.
    const auto childReachesIt = [&]
    {
        ConcurrencyChild({L"--signal-handle", ToWord(handle.GetRawHandle())}).Wait();
        return WaitFor(handle.GetRawHandle(), 0);
    };
    EXPECT_FALSE(childReachesIt());
    handle.SetInheritability(true);
    handle.SetInheritability(false);
    EXPECT_FALSE(childReachesIt());
    handle.SetInheritability(true);
    EXPECT_TRUE(childReachesIt());
}

TEST(Win32HandleTest, EqualityIsThatOfTheObjects)
{
    TestSupport::EventNames names;
    const std::wstring name = names.Unique(L"equal");
    const Win32Handle unnamed(NewObject());
    const Win32Handle other(NewObject());
    const Win32Handle named(Event(false, true, name).Detach());
    const Win32Handle opened(Event::OpenForWaiting(name).Detach());
    const Win32Handle second(Event(false, true, name).Detach());
    const Win32Handle different(Event(false, true, names.Unique(L"different")).Detach());
    const Win32Handle timer(Shared::Concurrency::WaitableTimer(false, true).Detach());

    EXPECT_TRUE(unnamed == unnamed);
    EXPECT_TRUE(unnamed == unnamed.Duplicate());
    EXPECT_FALSE(unnamed == other);
    EXPECT_FALSE(unnamed != unnamed.Duplicate());
    EXPECT_TRUE(unnamed != other);
    EXPECT_TRUE(named == opened);
    EXPECT_TRUE(named == second);
    EXPECT_TRUE(named == named.Duplicate());
    EXPECT_FALSE(named == different);
    EXPECT_FALSE(named == unnamed);
    EXPECT_FALSE(unnamed == timer);
    EXPECT_TRUE(timer == timer.Duplicate());
}

TEST(Win32HandleTest, NoHandleEqualsNoHandleAlone)
{
    const Win32Handle none;
    const Win32Handle invalid(InvalidValue());
    const Win32Handle real(NewObject());
    EXPECT_TRUE(none == none);
    EXPECT_TRUE(none == invalid);
    EXPECT_FALSE(none == real);
    EXPECT_FALSE(real == invalid);
}

TEST(Win32HandleTest, AFailingCloseIsReportedOnStandardErrorAndForgotten)
{
    CapturedStandardError captured;
    Win32Handle handle(ClosedObject());
    handle.Close();
    EXPECT_FALSE(handle.IsValid());
    const std::string text = captured.Finish();
    EXPECT_EQ(text.substr(0, std::string(CloseText).size()), CloseText);
    EXPECT_GT(text.size(), std::string(CloseText).size() + 3); // the translated code
    EXPECT_EQ(text.back(), '\n');
}

TEST(Win32HandleTest, AFailingCloseInADestructorOrAnAssignmentThrowsNothing)
{
    CapturedStandardError captured;
    {
        const Win32Handle handle(ClosedObject());
    }
    Win32Handle assigned(ClosedObject());
    EXPECT_NO_THROW(assigned = Win32Handle());
    Win32Handle attached(ClosedObject());
    attached.Attach(nullptr);
    const std::string text = captured.Finish();
    std::size_t reports = 0;
    for (std::size_t at = text.find(CloseText); at != std::string::npos; at = text.find(CloseText, at + 1))
    {
        ++reports;
    }
    EXPECT_EQ(reports, 3U);
}

TEST(Win32HandleTest, WhatTheSystemRefusesThrowsItsCode)
{
    Win32Handle target(NewObject());
    const RawHandle kept = target.GetRawHandle();
    Win32Handle handle(ClosedObject());
    EXPECT_EQ(Win32Text([&] { (void)handle.IsInheritable(); }), "GetHandleInformation() failed");
    EXPECT_EQ(Win32Text([&] { handle.SetInheritability(true); }), "SetHandleInformation() failed");
    EXPECT_EQ(Win32Text([&] { (void)handle.Duplicate(); }), "DuplicateHandle() failed");
    EXPECT_EQ(Win32Text([&] { target = handle; }), "DuplicateHandle() failed");
    EXPECT_EQ(target.GetRawHandle(), kept);
    handle.Release();
}
