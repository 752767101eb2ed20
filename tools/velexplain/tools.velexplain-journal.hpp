#pragma once

#include "tools.velexplain-answers.hpp"

#include <filesystem>

/// Reads what the laboratory's cloud has kept of its exchange with an agent.
namespace Tools::VelExplain
{

/// The latest answer to each request, who asked, and for which user: those that the agent holds at the end of the run.
/// Answers that were not delivered do not count. The texts of answers may be no JSON.
/// @param results the folder that holds the folder "cloud"
/// Throws InputError when there is none, when a file in it is no message, or when an answer was too large to be kept.
Answers ReadResults(const std::filesystem::path& results);

} // namespace Tools::VelExplain
