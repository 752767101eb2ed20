// What a poll worker's copy of the main loop's state costs, for an agent with a lot of configuration and for one with an
// unreasonable lot. The floor is the copy of as many texts of the same lengths in one vector. Kept up: the copy of a lot of
// configuration takes at most 5 ms.

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "agentcore.ops-appstate.hpp"
#include "bench.ratio.hpp"
#include "shared.util-functions.hpp"

namespace
{

using AgentCore::Messaging::CurlTest;
using AgentCore::Messaging::MtrTest;
using AgentCore::Messaging::NetworkObject;
using AgentCore::Messaging::TestConfiguration;
using AgentCore::Ops::AppState;
using Shared::Util::ConvertStringType;

struct Amounts
{
    std::size_t mtrTests;
    std::size_t eteTests;
    std::size_t curlTests;
    std::size_t networkObjects;
};

constexpr Amounts ALot = {6'000, 2'000, 2'000, 500};
constexpr Amounts FarTooMuch = {10'000, 10'000, 1'000, 10'000};

/// What the server uses for ids.
std::string IdOf(std::size_t kind, std::size_t index)
{
    return fmt::format("6b29fc40-ca47-1067-b31d-{:04}{:08}", kind, index);
}

std::string ObjectOf(std::size_t test, const Amounts& amounts)
{
    return IdOf(0, test % amounts.networkObjects);
}

/// In the order of the text, so that each takes its place at the end of the map.
void AddTest(AppState& state, const std::string& key, std::size_t index)
{
    Config::Test& test = state.tests[key];
    test.set_enabled(true);
    test.set_priority(static_cast<std::int32_t>(index));
}

MtrTest MakeMtrTest(const std::string& prefix, std::size_t kind, std::size_t index, const Amounts& amounts)
{
    const std::string id = IdOf(kind, index);
    return {prefix + id, id, ObjectOf(index, amounts), "tcp", 443, 10, 1000, true, false, false};
}

CurlTest MakeCurlTest(std::size_t index, const Amounts& amounts)
{
    const std::string id = IdOf(3, index);
    return {
        "/config/curl/" + id,
        id,
        ObjectOf(index, amounts),
        "https",
        "/health/of/the/service",
        false,
        {"200", "204"},
        {"Accept: application/json"},
        443,
        true,
        false,
        false};
}

void AddConfigurations(AppState& state, const MtrTest& test)
{
    for (const char* target : {"first.of.the.service.example.com", "203.0.113.17"})
    {
        TestConfiguration configuration{
            test,
            ConvertStringType(std::string_view(target)),
            ConvertStringType(std::string_view(test.netobj)),
            ConvertStringType(std::string_view(test.id)),
            L"tcp",
            test.port,
            false};
        state.testConfigurations.push_back(std::move(configuration));
    }
}

std::unique_ptr<AppState> MakeState(const Amounts& amounts)
{
    auto state = std::make_unique<AppState>();
    for (std::size_t i = 0; i < amounts.networkObjects; ++i)
    {
        state->networkObjects.push_back(
            {fmt::format("{}", i),
             IdOf(0, i),
             fmt::format("Service {}", i),
             {"first.of.the.service.example.com"},
             {"203.0.113.17"}});
    }
    for (std::size_t i = 0; i < amounts.curlTests; ++i)
    {
        state->curlTests.push_back(MakeCurlTest(i, amounts));
        AddTest(*state, state->curlTests.back().key, i);
    }
    for (std::size_t i = 0; i < amounts.eteTests; ++i)
    {
        state->eteTests.push_back(MakeMtrTest("/config/ete/", 2, i, amounts));
        AddTest(*state, state->eteTests.back().key, i);
        AddConfigurations(*state, state->eteTests.back());
    }
    for (std::size_t i = 0; i < amounts.mtrTests; ++i)
    {
        state->mtrTests.push_back(MakeMtrTest("/config/mtr/", 1, i, amounts));
        AddTest(*state, state->mtrTests.back().key, i);
    }
    return state;
}

/// Texts of the lengths, in bytes, that are in the configuration.
class Texts
{
public:
    explicit Texts(const AppState& state)
    {
        for (const NetworkObject& object : state.networkObjects)
        {
            Add(object.id, object.uuid, object.name);
            AddAll(object.domains);
            AddAll(object.ips);
        }
        for (const auto& [key, test] : state.tests)
        {
            Add(key);
        }
        for (const MtrTest& test : state.mtrTests)
        {
            AddTest(test);
        }
        for (const MtrTest& test : state.eteTests)
        {
            AddTest(test);
        }
        for (const CurlTest& test : state.curlTests)
        {
            Add(test.key, test.id, test.netobj, test.protocol, test.path);
            AddAll(test.successCodes);
            AddAll(test.headers);
        }
        for (const TestConfiguration& each : state.testConfigurations)
        {
            AddTest(each.test);
            Add(each.target, each.networkObjectUuid, each.testKey, each.protocol);
        }
    }

    std::vector<std::string> texts;

private:
    template <typename... Strings>
    void Add(const Strings&... strings)
    {
        (texts.emplace_back(strings.size() * sizeof(strings[0]), 'x'), ...);
    }

    void AddAll(const std::vector<std::string>& strings)
    {
        for (const std::string& string : strings)
        {
            Add(string);
        }
    }

    void AddTest(const MtrTest& test)
    {
        Add(test.key, test.id, test.netobj, test.l4Protocol);
    }
};

void CopyAndDestroy(benchmark::State& state, const Amounts& amounts)
{
    const auto original = MakeState(amounts);
    const std::vector<std::string> texts = Texts(*original).texts;
    Bench::Compare(
        state, 1,
        [&original]
        {
            const AppState copy = *original;
            benchmark::DoNotOptimize(&copy);
        },
        [&texts]
        {
            const std::vector<std::string> copy = texts;
            benchmark::DoNotOptimize(copy.data());
        });
    state.counters["texts"] = static_cast<double>(texts.size());
}

/// The copy alone: what the main loop waits for before a worker starts.
void Copy(benchmark::State& state, const Amounts& amounts)
{
    using Clock = std::chrono::steady_clock;
    const auto original = MakeState(amounts);
    for ([[maybe_unused]] const auto iteration : state)
    {
        const auto start = Clock::now();
        const AppState copy = *original;
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        benchmark::DoNotOptimize(&copy);
    }
}

} // namespace

BENCHMARK_CAPTURE(CopyAndDestroy, ALot, ALot)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Copy, ALot, ALot)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(CopyAndDestroy, FarTooMuch, FarTooMuch)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Copy, FarTooMuch, FarTooMuch)->UseManualTime()->Unit(benchmark::kMillisecond);
