#pragma once

#include "tools.velexplain-report.hpp"

#include <string>
#include <string_view>
#include <vector>

/// What was decided of a test, in words.
namespace Tools::VelExplain
{

/// The name of a fate for scripts: "not-meant".
std::string_view WordOf(Fate fate);

/// The name of a way to be meant, or not, for scripts: "all-agents".
std::string_view WordOf(AgentCore::Messaging::MatchKind kind);

/// The way to be meant as a rule: "its tag a is a tag of this agent"; empty for one that does not hold.
std::string DescribeRule(const AgentCore::Messaging::Match& match, const Subject& subject);

/// Why the test has its fate, a text each: of one that runs, or would if it were in the map, each rule by which it is meant;
/// of one that is not meant, each thing that was looked at; of all others, the one reason. Never empty.
std::vector<std::string> DescribeReasons(const TestReport& test, const Subject& subject);

} // namespace Tools::VelExplain
