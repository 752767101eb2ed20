#include "agentcore.ops-appstate.hpp"

#include "shared.util-functions.hpp"

namespace AgentCore::Ops
{

namespace
{

constexpr std::uint64_t StackDepth = 2;
constexpr std::int32_t LowestFirstSeqNum = 1;
constexpr std::int32_t HighestFirstSeqNum = 20'000;

} // namespace

AppState::AppState()
    : runtimeStates(StackDepth, true),
      nextSeqNum(
          static_cast<std::uint32_t>(Shared::Util::GeneratePseudorandomInt(LowestFirstSeqNum, HighestFirstSeqNum)))
{
    runtimeStates.Push(RuntimeState::Initialise);
    // Until the server says something else.
    instanceAgentConfig.set_enabled(true);
}

} // namespace AgentCore::Ops
