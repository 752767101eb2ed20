#include "lab.vellab-chaintimes.hpp"

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using Lab::AgentState;
using Lab::Chain;
using Lab::DescribeChains;
using Lab::FindChains;
using Lab::RequestKind;
using Lab::Cloud::Exchange;
using ::testing::HasSubstr;
using ::testing::Not;

class ChainTimesTest : public ::testing::Test
{
protected:
    /// Times in seconds of the timeline; an answer below 0 is none.
    void Add(RequestKind kind, double requested, double answered, const std::string& how = "")
    {
        Exchange exchange;
        exchange.kind = kind;
        exchange.requested = At(requested);
        if (answered >= 0)
        {
            exchange.answered = At(answered);
        }
        exchange.how = how;
        m_exchanges.push_back(exchange);
    }

    void Enter(const std::string& state, double seconds)
    {
        m_states.push_back({seconds, state});
    }

    std::vector<Chain> Find() const
    {
        return FindChains(m_exchanges, m_states, m_timeline);
    }

    Shared::Time::MonotonicTime At(double seconds) const
    {
        const std::chrono::duration<double> sinceStart(seconds - m_timeline.SecondsAt(m_now));
        return m_now + std::chrono::duration_cast<Shared::Time::MonotonicClock::duration>(sinceStart);
    }

    std::ostringstream m_out;
    Lab::Timeline m_timeline{m_out};
    Shared::Time::MonotonicTime m_now = Shared::Time::MonotonicNow();
    std::vector<Exchange> m_exchanges;
    std::vector<AgentState> m_states;
};

TEST_F(ChainTimesTest, WithoutARequestThereIsNothingToTell)
{
    EXPECT_TRUE(Find().empty());
    EXPECT_EQ(DescribeChains(Find(), 1), "");
}

TEST_F(ChainTimesTest, EachRequestHasTheCloudsTimeAndTheAgentsUpToTheNext)
{
    Add(RequestKind::Startup, 10.0, 10.1);
    Add(RequestKind::Tests, 11.0, 11.5);
    Add(RequestKind::AccountAgent, 12.0, 12.0);
    // The log's clock is early, and what it tells of the last request is not.
    Enter("GetAccountAgentConfig", 11.9);
    Enter("ConfigCompleted", 12.9);
    ASSERT_EQ(Find().size(), 1U);
    EXPECT_NEAR(Find()[0].completed.value_or(0), 13.0, 1e-6);
    EXPECT_EQ(
        DescribeChains(Find(), 2),
        "the agent was configured 6.00 of its seconds after it posted its inventory: in 3 requests the cloud took 1.20 s "
        "to answer, and the agent 4.80 s to go on\n"
        "      at  request            cloud   agent\n"
        "    0.00  startup             0.20    1.80\n"
        "    2.00  tests               1.00    1.00\n"
        "    4.00  account-agent       0.00    2.00");
}

TEST_F(ChainTimesTest, WhatIsRepeatedHasRowsOfItsOwnAndSaysWhy)
{
    Add(RequestKind::Startup, 0, -1, "drop");
    Add(RequestKind::Startup, 5, 5);
    Add(RequestKind::Mtr, 6, 20, "late");
    Add(RequestKind::Mtr, 16, 16);
    Add(RequestKind::AccountAgent, 17, 17);
    Enter("GetAccountAgentConfig", 17);
    Enter("ConfigCompleted", 18);
    const std::vector<Chain> chains = Find();
    ASSERT_EQ(chains.size(), 2U) << "each posting begins one";
    const std::string text = DescribeChains(chains, 1);
    EXPECT_THAT(text, HasSubstr("configured 13.00 of its seconds"));
    EXPECT_THAT(text, HasSubstr("\n    1.00  mtr                10.00    0.00  late\n"))
        << "an answer behind the next request was waited for until then";
    EXPECT_THAT(text, HasSubstr("\n   11.00  mtr                 0.00    1.00\n"));
    EXPECT_THAT(text, HasSubstr("\nthe agent began 2 times to fetch its configuration, and had all of it 1 time"));
}

TEST_F(ChainTimesTest, ARequestWithoutAnAnswerIsTheAgentsWaiting)
{
    Add(RequestKind::Startup, 0, 0);
    Add(RequestKind::AccountAgent, 1, -1);
    Enter("GetAccountAgentConfig", 1);
    Enter("ConfigCompleted", 4);
    EXPECT_THAT(DescribeChains(Find(), 1), HasSubstr("\n    1.00  account-agent          -    3.00"));
}

TEST_F(ChainTimesTest, OneThatBeginsInTheMiddleIsCountedAndHasNoTable)
{
    Add(RequestKind::Startup, 0, 0);
    Add(RequestKind::AccountAgent, 1, 1);
    Enter("GetAccountAgentConfig", 1);
    Enter("ConfigCompleted", 2);
    Add(RequestKind::Ete, 3, 3);
    Add(RequestKind::AccountAgent, 4, 4);
    Enter("GetAccountAgentConfig", 4);
    Enter("ConfigCompleted", 5);
    ASSERT_EQ(Find().size(), 2U);
    const std::string text = DescribeChains(Find(), 1);
    EXPECT_THAT(text, HasSubstr("had all of it 2 times"));
    EXPECT_THAT(text, Not(HasSubstr("  ete ")));
}

TEST_F(ChainTimesTest, OneThatIsNeverCompletedIsOnlyCounted)
{
    Add(RequestKind::Startup, 0, 0);
    Add(RequestKind::Tests, 1, 1);
    EXPECT_EQ(
        DescribeChains(Find(), 1), "the agent began 1 time to fetch its configuration, and had all of it 0 times");
    Enter("ConfigCompleted", 2);
    EXPECT_FALSE(Find()[0].completed.has_value()) << "no last request, no completion";
}

TEST_F(ChainTimesTest, PollsBelongToNoChain)
{
    Add(RequestKind::Startup, 0, 0);
    Add(RequestKind::AccountAgent, 1, 1);
    Add(RequestKind::Poll, 300, 300);
    Enter("GetAccountAgentConfig", 1);
    Enter("ConfigCompleted", 2);
    ASSERT_EQ(Find().size(), 1U);
    EXPECT_EQ(Find()[0].requests.size(), 2U);
}

TEST_F(ChainTimesTest, AVeryLongChainIsCutOff)
{
    Add(RequestKind::Startup, 0, 0);
    for (int i = 1; i < 100; ++i)
    {
        Add(RequestKind::Mtr, i, -1, "drop");
    }
    Add(RequestKind::AccountAgent, 100, 100);
    Enter("GetAccountAgentConfig", 100);
    Enter("ConfigCompleted", 101);
    EXPECT_THAT(DescribeChains(Find(), 1), HasSubstr("\nand 61 more"));
}

} // namespace
