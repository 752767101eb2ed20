// A process that has children, as the agent has, for the tests of what becomes of them. The first argument says how it
// starts the probe program (contract.processprobe-program.cpp), the rest is for that one:
//   --tool          as a tool with this process's own identity
//   --path-tool     with that of path tests; --path-tool-restricted with the restricted one of these
//   --plain-tool    with that of HTTP and TCP tests; --plain-tool-restricted with the restricted one, of low integrity
//   --helper        as a helper process in a job, which prints where this process does
//   --helper-line   the same, but the second argument is the whole command line
//   --helper-restricted  as a helper process with the restricted identity of this user; the rest is its environment
// Prints "child=<process id>" and what the tool prints, and ends with its exit code; or with 1 and the reason, if
// something fails.

#include "contract.toolrunner.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-job.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.security-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-commandline.hpp"
#include "shared.util-functions.hpp"

#include <cstdio>
#include <exception>
#include <optional>
#include <utility>

namespace
{

using Shared::Concurrency::ProcessEnvironment;
using Shared::Concurrency::WaitFor;
using Shared::Raii::Win32Handle;
namespace Security = Shared::Security;

void Print(const std::string& text)
{
    (void)std::fwrite(text.data(), 1, text.size(), stdout);
    (void)std::fflush(stdout);
}

Win32Handle IdentityFor(const std::string& how)
{
    if (how.starts_with("--path-tool"))
    {
        return Security::GetMtrChildProcessIdentity(how.ends_with("-restricted"));
    }
    if (how.starts_with("--plain-tool"))
    {
        return Security::GetCurlTcPingChildProcessIdentity(how.ends_with("-restricted"));
    }
    return {};
}

std::uint32_t RunTool(const std::string& how, std::vector<std::wstring> arguments)
{
    Contract::ToolRunner runner(std::move(arguments), IdentityFor(how));
    runner.Start();
    Print("child=" + std::to_string(runner.GetProcessId()) + "\n");
    std::string bytes;
    bool hasEnded = false;
    while (!hasEnded)
    {
        hasEnded = WaitFor(runner.GetProcessHandle(), 10);
        runner.ReadFromPipe(bytes);
        Print(bytes);
    }
    return runner.QueryExitCode();
}

std::wstring LineOf(std::vector<std::wstring> arguments)
{
    arguments.insert(arguments.begin(), Contract::ProbeTool);
    return Shared::Util::Paste(arguments);
}

std::uint32_t RunHelper(std::wstring commandLine, const std::optional<ProcessEnvironment>& environment = {})
{
    Shared::Concurrency::Job job;
    job.Create(false);
    job.SetInformation({Shared::Concurrency::JobLimits::KillOnJobClose});
    Shared::Concurrency::ProcessDescription description;
    description.executablePath = Contract::ProgramFile(Contract::ProbeTool);
    description.commandLine = std::move(commandLine);
    Shared::Concurrency::Process process(std::move(description));
    if (environment)
    {
        process.StartAsUser(Security::CreateAdminRestrictedToken(), environment);
    }
    else
    {
        process.Start();
    }
    job.AssignProcessToThisJob(process.GetProcessHandle());
    Print("child=" + std::to_string(process.GetProcessId()) + "\n");
    WaitFor(process.GetProcessHandle(), Shared::Time::Infinite);
    return process.GetProcessExitCode();
}

} // namespace

int main(int count, char** arguments)
{
    try
    {
        const std::string how = count > 1 ? arguments[1] : "";
        std::vector<std::wstring> forProbe;
        for (int i = 2; i < count; ++i)
        {
            forProbe.push_back(Shared::Util::ConvertStringType(std::string_view(arguments[i])));
        }
        if (how == "--helper-line")
        {
            return static_cast<int>(RunHelper(forProbe.at(0)));
        }
        if (how == "--helper-restricted")
        {
            return static_cast<int>(RunHelper(L"probe", forProbe));
        }
        return static_cast<int>(
            how == "--helper" ? RunHelper(LineOf(std::move(forProbe))) : RunTool(how, std::move(forProbe)));
    }
    catch (const std::exception& exception)
    {
        Print(std::string(exception.what()) + "\n");
        return 1;
    }
}
