// A process that has children, as the agent has, for the tests of what becomes of them. The first argument says how it
// starts the probe program (contract.processprobe-program.cpp), the rest is for that one:
//   --tool          as a tool with this process's own identity
//   --path-tool     with that of path tests; --path-tool-restricted with the restricted one of these
//   --plain-tool    with that of HTTP and TCP tests; --plain-tool-restricted with the restricted one, of low integrity
//   --helper        as a helper process in a job, which prints where this process does
//   --helper-line   the same, but the second argument is the whole command line
//   --helper-restricted  as a helper process with the restricted identity of this user; the rest is its environment
//   --connector     as the connector: a helper process of the service account, with the environment that it has then,
//                   and with every handle that is inheritable, of which there is one
//   --connector-restricted  the same with the restricted identity of this user
//   --identities    prints what each kind of child is, and ends
// Prints "child=<process id>" and what the tool prints, and ends with its exit code; or with 1 and the reason, if
// something fails.

#include "contract.toolrunner.hpp"

#include "shared.concurrency-event.hpp"
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

std::uint32_t RunHelper(
    Shared::Concurrency::ProcessDescription description,
    const Win32Handle& token = {},
    const std::optional<ProcessEnvironment>& environment = {})
{
    Shared::Concurrency::Job job;
    job.Create(false);
    job.SetInformation({Shared::Concurrency::JobLimits::KillOnJobClose});
    description.executablePath = Contract::ProgramFile(Contract::ProbeTool);
    Shared::Concurrency::Process process(std::move(description));
    if (token.IsValid())
    {
        process.StartAsUser(token, environment);
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

std::uint32_t RunConnector(const std::string& how, std::wstring commandLine)
{
    const Shared::Concurrency::Event stop(true, true);
    Shared::Concurrency::ProcessDescription description;
    description.commandLine = std::move(commandLine);
    description.workingDirectory = Contract::OwnFolder();
    description.inheritHandles = true;
    return RunHelper(
        std::move(description),
        how.ends_with("-restricted") ? Security::CreateAdminRestrictedToken()
                                     : Security::LogonService(Security::WellKnownAccount::NetworkService));
}

std::string NamesOf(const std::vector<std::string>& environment)
{
    std::string names;
    for (const std::string& entry : environment)
    {
        names.append(names.empty() ? "" : " ").append(entry, 0, entry.find('=', 1));
    }
    return names;
}

/// What the probe says of itself when it is started in this way, by another one of us.
void PrintIdentity(const std::string& how)
{
    Contract::ToolRunner owner({Shared::Util::ConvertStringType(how), L"--report"});
    owner.program = Contract::OwnerTool;
    owner.Start();
    const std::string output = Contract::ReadToEnd(owner);
    const Contract::Report report(output);
    Print(how + "\n");
    for (const std::string& line : Shared::Util::Split(output, "\n"))
    {
        const bool isHex =
            line.starts_with("argument=") || line.starts_with("environment=") || line.starts_with("folder=");
        if (!isHex && !line.empty() && !line.starts_with("child="))
        {
            Print("    " + line + "\n");
        }
    }
    for (const std::string& folder : report.Texts("folder"))
    {
        Print("    folder=" + folder + "\n");
    }
    Print("    environment=" + NamesOf(report.Texts("environment")) + "\n");
}

int PrintIdentities()
{
    for (const char* const how :
         {"--tool", "--path-tool", "--path-tool-restricted", "--plain-tool", "--plain-tool-restricted", "--connector",
          "--connector-restricted"})
    {
        PrintIdentity(how);
    }
    return 0;
}

int Obey(const std::string& how, std::vector<std::wstring> forProbe)
{
    if (how == "--identities")
    {
        return PrintIdentities();
    }
    Shared::Concurrency::ProcessDescription helper;
    if (how == "--helper-restricted")
    {
        helper.commandLine = L"probe";
        return static_cast<int>(RunHelper(std::move(helper), Security::CreateAdminRestrictedToken(), forProbe));
    }
    if (how.starts_with("--helper"))
    {
        helper.commandLine = how == "--helper-line" ? forProbe.at(0) : LineOf(std::move(forProbe));
        return static_cast<int>(RunHelper(std::move(helper)));
    }
    return static_cast<int>(
        how.starts_with("--connector") ? RunConnector(how, LineOf(std::move(forProbe)))
                                       : RunTool(how, std::move(forProbe)));
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
        return Obey(how, std::move(forProbe));
    }
    catch (const std::exception& exception)
    {
        Print(std::string(exception.what()) + "\n");
        return 1;
    }
}
