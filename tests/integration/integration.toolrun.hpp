#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Integration
{

/// What a run of a program for people left.
struct ToolOutcome
{
    std::int32_t exitCode = -1;
    std::string output;
    std::string errors;
};

/// Runs the program to its end, in `folder`, where its output is gathered too. Fails the test when it does not end.
ToolOutcome RunTool(
    const std::filesystem::path& program,
    const std::vector<std::string>& arguments,
    const std::filesystem::path& folder);

} // namespace Integration
