#include "lab.connector-stopevent.hpp"

#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "test.support-eventnames.hpp"

#include <cstdlib>

#include <gtest/gtest.h>

namespace
{

using Lab::Connector::EventSource;
using Lab::Connector::FindInheritedEvent;
using Shared::Concurrency::Event;
using Shared::Concurrency::WaitFor;

class InheritedEventTest : public ::testing::Test
{
protected:
    TestSupport::EventNames m_names;
};

TEST_F(InheritedEventTest, AnInheritedDescriptorIsTheEvent)
{
    // Of one process, an own descriptor is found as an inherited one is.
    Event event(true, true, L"InheritedStop");
    const auto found = FindInheritedEvent(L"InheritedStop");
    ASSERT_TRUE(found.IsValid());
    EXPECT_FALSE(WaitFor(found.GetRawHandle(), 0));
    event.Signal();
    EXPECT_TRUE(WaitFor(found.GetRawHandle(), 0));
    EXPECT_TRUE(WaitFor(found.GetRawHandle(), 0)) << "a wait takes nothing away";
}

TEST_F(InheritedEventTest, AnEventOfAnotherNameIsNotTaken)
{
    const Event event(true, true, L"AnotherStop");
    EXPECT_FALSE(FindInheritedEvent(L"InheritedStop").IsValid());
}

TEST_F(InheritedEventTest, WhereTheFolderIsClosedTheInheritedOneIsTaken)
{
    Event event(true, true, L"InheritedStop");
    // A runtime directory in which nothing of that name is.
    TestSupport::EventNames others;
    const auto found = Lab::Connector::FindStopEvent(L"InheritedStop");
    EXPECT_EQ(found.source, EventSource::Inheritance);
    EXPECT_FALSE(found.problem.empty());
    event.Signal();
    EXPECT_TRUE(WaitFor(found.handle.GetRawHandle(), 0));
}

} // namespace
