#pragma once

#include "tools.velexplain-answers.hpp"
#include "tools.velexplain-options.hpp"
#include "tools.velexplain-report.hpp"

namespace Tools::VelExplain
{

/// Lets the agent's code read the answers and select the tests, and says what it decided of each. What the options say of the
/// agent, its user, groups and tags wins over what the answers say. While it runs, the process logs nothing.
///
/// A missing answer is read as an empty one; one that the agent cannot use leaves its list empty, as in the agent.
/// Throws InputError when the agent is not named and the answers have several owners.
/// @param answers their texts are JSON
Report Explain(const Answers& answers, const Options& options);

} // namespace Tools::VelExplain
