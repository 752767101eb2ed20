#pragma once

#include "tools.velexplain-report.hpp"

#include <string>
#include <vector>

namespace Tools::VelExplain
{

/// A test in one of the agent's lists.
struct RunningTest
{
    std::string key;
    std::string netobj;
};

/// Puts the tests that were judged into the report: those that run in the order of the agent's list, the others as they came.
/// The result says where the list, the judgement and the agent's closing line disagree; nothing when they agree.
/// @param judged all of the answer, in its order; empty when the agent could not use it
/// @param report has its closing line, and no tests yet
std::vector<std::string> Arrange(
    std::vector<TestReport> judged, const std::vector<RunningTest>& running, KindReport& report);

} // namespace Tools::VelExplain
