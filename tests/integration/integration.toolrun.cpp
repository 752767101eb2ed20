#include "integration.toolrun.hpp"

#include "integration.agentfixture.hpp"
#include "lab.vellab-childprocess.hpp"
#include "shared.concurrency-functions.hpp"

#include <gtest/gtest.h>

namespace Integration
{

ToolOutcome RunTool(
    const std::filesystem::path& program,
    const std::vector<std::string>& arguments,
    const std::filesystem::path& folder)
{
    constexpr std::uint32_t endLimitMs = 20'000U * VEL_TIME_SCALE;
    Lab::ChildRequest request;
    request.program = program;
    request.arguments = arguments;
    request.workingFolder = folder;
    request.output = folder / "output.txt";
    request.errors = folder / "errors.txt";
    // Programs append to them.
    std::filesystem::remove(request.output);
    std::filesystem::remove(request.errors);
    Lab::ChildProcess child(request);
    if (!Shared::Concurrency::WaitFor(child.GetHandle(), endLimitMs))
    {
        ADD_FAILURE() << program << " does not end";
        child.Kill();
    }
    return {child.GetExitStatus().value_or(-1), ReadFile(request.output), ReadFile(request.errors)};
}

} // namespace Integration
