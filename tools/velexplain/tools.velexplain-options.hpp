#pragma once

#include "tools.velexplain-requests.hpp"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Tools::VelExplain
{

enum class OutputForm
{
    Text,
    Json
};

/// Texts are UTF-8.
struct Options
{
    OutputForm form = OutputForm::Text;
    /// Only how to call the program is wanted.
    bool help = false;
    /// A results folder of the laboratory.
    std::optional<std::string> results;
    /// Files with answers; each wins over what the results folder has.
    std::map<Request, std::string> files;
    std::optional<std::string> agentUuid;
    std::optional<std::string> username;
    /// Each list, when it is not empty, wins over all answers.
    std::vector<std::string> groups;
    std::vector<std::string> tagIds;
    /// Empty: all kinds.
    std::set<TestKind> only;
};

/// Reads the arguments behind the program's name. Throws std::invalid_argument with a sentence for people, also when nothing
/// is named that could be explained.
Options ParseOptions(const std::vector<std::string>& arguments);

/// How to call the program.
std::string UsageText();

} // namespace Tools::VelExplain
