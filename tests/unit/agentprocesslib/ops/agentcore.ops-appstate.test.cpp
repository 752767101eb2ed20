#include "agentcore.ops-appstate.hpp"

#include "shared.concurrency-functions.hpp"

#include <set>

#include <gtest/gtest.h>

namespace
{

using AgentCore::Ops::AppState;
using AgentCore::Ops::RuntimeState;
using WireProtocol::Comms::InboundMessage;

TEST(AppStateTest, StartsInInitialiseWithATwoDeepStackOfDistinctStates)
{
    const AppState state;
    EXPECT_EQ(state.runtimeStates.GetCurrent(), RuntimeState::Initialise);
    EXPECT_EQ(state.runtimeStates.Size(), 1U);
    EXPECT_EQ(state.runtimeStates.GetMaxSize(), 2U);
    EXPECT_TRUE(state.runtimeStates.IsUniqueTop());
}

TEST(AppStateTest, TheFirstSequenceNumberOfAProcessLiesBetween2And20001)
{
    std::set<std::uint32_t> seen;
    for (int i = 0; i < 200; ++i)
    {
        AppState state;
        const std::uint32_t first = ++state.nextSeqNum;
        EXPECT_GE(first, 2U);
        EXPECT_LE(first, 20'001U);
        seen.insert(first);
    }
    EXPECT_GT(seen.size(), 100U) << "the start is drawn at random";
}

TEST(AppStateTest, ACopyHasQueuesOfItsOwnWithTheSameContent)
{
    AppState original;
    original.inboundMessages.Push(InboundMessage{7, 22, "{}", 0, 0, {}});
    AppState copy = original;
    EXPECT_EQ(copy.inboundMessages.Size(), 1U);
    EXPECT_NE(copy.inboundMessages.GetEventHandle(), original.inboundMessages.GetEventHandle());
    copy.inboundMessages.Clear();
    EXPECT_EQ(original.inboundMessages.Size(), 1U);
    EXPECT_TRUE(Shared::Concurrency::WaitFor(original.inboundMessages.GetEventHandle(), 0));
    EXPECT_FALSE(Shared::Concurrency::WaitFor(copy.inboundMessages.GetEventHandle(), 0));
}

} // namespace
