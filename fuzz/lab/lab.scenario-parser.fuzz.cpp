// Any text as a scenario: it is read, or refused with an explanation that is neither empty nor endless; and what was read
// keeps the limits that its keys have.

#include "fuzz.require.hpp"
#include "lab.scenario-catalogue.hpp"
#include "lab.scenario-parser.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;

void CheckScenario(const Lab::Scenario& scenario)
{
    constexpr double LongestSeconds = 30 * 86'400;
    Require(!scenario.cloud.registration.empty());
    Require(!scenario.duration || (scenario.duration->count() >= 0.1 && scenario.duration->count() <= LongestSeconds));
    for (const Lab::ScriptedAnswer& answer : scenario.cloud.answers)
    {
        Require(!Lab::NameOf(answer.to).empty() && !Lab::NameOf(answer.way).empty());
        Require(answer.times <= 1'000'000 && answer.delay.count() >= 0 && answer.delay.count() <= LongestSeconds);
        Require(answer.way != Lab::AnswerWay::Refuse || answer.to != Lab::RequestKind::UserGroups);
    }
    for (const Lab::Fault& fault : scenario.faults)
    {
        Require((fault.kind == Lab::FaultKind::ChangeConfiguration) == (fault.configuration != nullptr));
        Require(!Lab::NameOf(fault.kind).empty());
        Require(fault.time.count() >= 0 && fault.time.count() <= LongestSeconds);
        Require(fault.duration.count() >= 0 && fault.duration.count() <= LongestSeconds);
        Require(fault.count >= 1 && fault.count <= 1'000'000);
        Require(fault.start >= 1);
    }
}

/// Every line says where and what.
void CheckProblem(std::string_view problem)
{
    constexpr std::size_t LongestProblem = 40'000;
    Require(!problem.empty() && problem.size() < LongestProblem);
    for (const char character : problem)
    {
        Require(character == '\n' || static_cast<unsigned char>(character) >= ' ');
    }
    Require(problem.starts_with("$") || problem.starts_with("line "));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try
    {
        CheckScenario(Lab::ParseScenario({reinterpret_cast<const char*>(data), size}));
    }
    catch (const Lab::ScenarioError& problem)
    {
        CheckProblem(problem.what());
    }
    return 0;
}
