#include "lab.connector-stopevent.hpp"

#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "test.support-eventnames.hpp"

#include <gtest/gtest.h>

namespace
{

using Lab::Connector::EventSource;
using Lab::Connector::FindStopEvent;
using Shared::Concurrency::Event;

class StopEventTest : public ::testing::Test
{
protected:
    TestSupport::EventNames m_names;
    std::wstring m_name = m_names.Unique(L"ConnectorStop");
};

TEST_F(StopEventTest, OneThatExistsIsOpenedByItsName)
{
    Event event(false, true, m_name);
    const auto found = FindStopEvent(m_name);
    EXPECT_EQ(found.source, EventSource::Name);
    EXPECT_EQ(found.problem, "");
    EXPECT_FALSE(Shared::Concurrency::WaitFor(found.handle.GetRawHandle(), 0));
    event.Signal();
    EXPECT_TRUE(Shared::Concurrency::WaitFor(found.handle.GetRawHandle(), 0));
}

TEST_F(StopEventTest, OneThatDoesNotExistIsToldAndNoFailure)
{
    const auto found = FindStopEvent(m_name);
    EXPECT_EQ(found.source, EventSource::None);
    EXPECT_FALSE(found.handle.IsValid());
    EXPECT_NE(found.problem.find("Failed to create or open event"), std::string::npos);
}

} // namespace
