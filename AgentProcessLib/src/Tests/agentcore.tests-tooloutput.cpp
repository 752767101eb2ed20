#include "agentcore.tests-tooloutput.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.util-functions.hpp"

#include <utility>

namespace AgentCore::Tests
{

std::string ReadToolOutput(
    Shared::Concurrency::ProcessRunner& runner,
    const std::wstring& target,
    const ToolFailureTexts& texts,
    const std::source_location& where)
{
    std::string output;
    const std::uint32_t exitCode = runner.GetFinalExitCode(output);
    if (exitCode != 0)
    {
        const std::string narrowTarget = Shared::Util::ConvertStringType(target);
        throw Shared::Exception::RuntimeException(
            fmt::format(texts.abnormalEnd, exitCode, std::as_const(output), narrowTarget), where);
    }
    if (output.empty())
    {
        throw Shared::Exception::RuntimeException(texts.nothingPrinted, where);
    }
    return output;
}

} // namespace AgentCore::Tests
