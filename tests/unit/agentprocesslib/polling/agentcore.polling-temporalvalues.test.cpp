#include "agentcore.polling-temporalvalues.hpp"

#include "test.support-capturedlog.hpp"

#include <gtest/gtest.h>

namespace
{

using AgentCore::Polling::RecordTemporal;
using AgentCore::Polling::TemporalStore;

TEST(RecordTemporalTest, TheFirstValueIsKeptWithItsTime)
{
    TemporalStore store;
    EXPECT_TRUE(RecordTemporal("username", "anna", 7, store));
    ASSERT_EQ(store.size(), 1U);
    EXPECT_EQ(store[0].value(), "anna");
    EXPECT_EQ(store[0].timestamp(), 7);
    EXPECT_EQ(store[0].id(), 0);
}

TEST(RecordTemporalTest, TheNewestValueAgainChangesNothing)
{
    TemporalStore store;
    (void)RecordTemporal("username", "anna", 7, store);
    EXPECT_FALSE(RecordTemporal("username", "anna", 8, store));
    ASSERT_EQ(store.size(), 1U);
    EXPECT_EQ(store[0].timestamp(), 7);
}

TEST(RecordTemporalTest, AnOlderValueComesBackAsANewOne)
{
    TemporalStore store;
    (void)RecordTemporal("username", "anna", 7, store);
    (void)RecordTemporal("username", "Anna", 8, store);
    EXPECT_TRUE(RecordTemporal("username", "anna", 9, store));
    ASSERT_EQ(store.size(), 3U);
    EXPECT_EQ(store[1].value(), "Anna");
    EXPECT_EQ(store[2].timestamp(), 9);
}

TEST(RecordTemporalTest, AnEmptyValueClearsNothing)
{
    TemporalStore store;
    (void)RecordTemporal("username", "anna", 7, store);
    const TestSupport::CapturedLog log;
    EXPECT_FALSE(RecordTemporal("username", "", 8, store));
    EXPECT_EQ(store.size(), 1U);
    EXPECT_EQ(log.Count(Shared::Log::Level::Debug, "Ignoring empty temporal username..."), 1U);
}

} // namespace
