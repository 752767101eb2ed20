#include "tools.velexplain-agentlog.hpp"

#include <gtest/gtest.h>

#include "shared.log-functions.hpp"

namespace
{

using Shared::Log::Level;
using Tools::VelExplain::AgentLog;

TEST(VelExplainAgentLogTest, LinesAreTakenOnceWithTheirLevels)
{
    AgentLog log;
    Shared::Log::Debug("one");
    Shared::Log::Warn("two {}", 2);
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].level, Level::Debug);
    EXPECT_EQ(lines[0].text, "one");
    EXPECT_EQ(lines[1].level, Level::Warning);
    EXPECT_EQ(lines[1].text, "two 2");
    EXPECT_TRUE(log.Take().empty());
}

TEST(VelExplainAgentLogTest, AfterItsEndTheLoggerBeforeIsBack)
{
    AgentLog outer;
    {
        AgentLog inner;
        Shared::Log::Info("inside");
        EXPECT_EQ(inner.Take().size(), 1U);
    }
    Shared::Log::Info("outside");
    const auto lines = outer.Take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "outside");
}

} // namespace
