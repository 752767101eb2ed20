#pragma once

#include "lab.scenario-scenario.hpp"

#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace Lab
{

/// A scenario file is not what it should be. what() has one line for each thing that is wrong, with its place: either
/// "line 3, column 7: ..." or a path as "$.faults[2].seconds: ...".
class ScenarioError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads a scenario of any text. Throws ScenarioError.
Scenario ParseScenario(std::string_view text);

/// Throws ScenarioError, whose lines begin with the file's name, and when the file cannot be read.
Scenario ReadScenario(const std::filesystem::path& file);

} // namespace Lab
