#include "shared.concurrency-process.hpp"

#include "contract.toolrunner.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.security-functions.hpp"
#include "shared.util-commandline.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Contract::ProgramFile;
using Contract::Report;
using Contract::ToolRunner;
using Shared::Concurrency::Event;
using Shared::Concurrency::Process;
using Shared::Concurrency::ProcessDescription;
using Shared::Concurrency::WaitFor;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::RuntimeText;
using TestSupport::Win32Text;

namespace
{

constexpr std::uint32_t NoWindow = 0x8000000;
constexpr std::uint32_t StillActive = 259;

ProcessDescription Probe(std::wstring commandLine)
{
    ProcessDescription description;
    description.executablePath = ProgramFile(L".\\bin\\shared-process-probe");
    description.commandLine = std::move(commandLine);
    description.creationFlags = NoWindow;
    return description;
}

std::uint32_t ExitCodeOf(Process& process)
{
    EXPECT_TRUE(WaitFor(process.GetProcessHandle(), LimitMs));
    return process.GetProcessExitCode();
}

/// An event of a number so high that a child has no handle of its own under it.
class HighEvent
{
public:
    explicit HighEvent(bool inheritable) : m_below(600, Event(false, true)), m_event(inheritable, true)
    {
    }

    std::wstring Number() const
    {
        return std::to_wstring(reinterpret_cast<std::uintptr_t>(m_event.GetHandle()));
    }

private:
    std::vector<Event> m_below;
    Event m_event;
};

/// What a helper process reports, which prints where its starter does: so it is started by one that is captured.
Report ReportOfHelper(std::vector<std::wstring> arguments)
{
    ToolRunner owner(std::move(arguments));
    owner.program = Contract::OwnerTool;
    owner.Start();
    return Report(Contract::ReadToEnd(owner));
}

} // namespace

TEST(ProcessTest, ItIsStartedByItsPathAndTellsItsExitCode)
{
    Process process(Probe(L"probe --exit=7"));
    process.Start();
    EXPECT_NE(process.GetProcessHandle(), nullptr);
    EXPECT_NE(process.GetProcessId(), 0U);
    EXPECT_NE(process.GetThreadId(), 0U);
    EXPECT_EQ(ExitCodeOf(process), 7U);
    EXPECT_EQ(process.GetProcessExitCode(), 7U); // and again
}

TEST(ProcessTest, APathAloneIsEnough)
{
    ProcessDescription description = Probe({});
    Process process(std::move(description));
    process.Start();
    EXPECT_EQ(ExitCodeOf(process), 0U);
}

TEST(ProcessTest, ACommandLineAloneIsEnough)
{
    ProcessDescription description;
    description.creationFlags = NoWindow;
    description.commandLine =
        Shared::Util::Paste({Contract::OwnFolder() + L"/bin/" + ProgramFile(L"shared-process-probe"), L"--exit=9"});
    Process process(std::move(description));
    process.Start();
    EXPECT_EQ(ExitCodeOf(process), 9U);
}

TEST(ProcessTest, WhileItRunsTheCodeIs259)
{
    Process process(Probe(L"probe --hang"));
    process.Start();
    EXPECT_EQ(process.GetProcessExitCode(), StillActive);
    EXPECT_FALSE(WaitFor(process.GetProcessHandle(), QuietMs));
    Contract::KillProcess(process.GetProcessId());
    EXPECT_NE(ExitCodeOf(process), StillActive);
}

TEST(ProcessTest, NothingToStartIsToldSo)
{
    Process process;
    EXPECT_EQ(RuntimeText([&] { process.Start(); }), "No executable path or command line set");
    EXPECT_EQ(RuntimeText([&] { process.StartAsUser({}); }), "No executable path or command line set");
}

TEST(ProcessTest, AnotherUserNeedsAToken)
{
    Process process(Probe(L"probe --exit=0"));
    EXPECT_EQ(RuntimeText([&] { process.StartAsUser({}); }), "Token cannot be null");
    EXPECT_EQ(process.GetProcessHandle(), nullptr);
}

TEST(ProcessTest, AProgramThatIsNotThereIsToldWithTheSystemsCode)
{
    ProcessDescription description = Probe(L"probe");
    description.executablePath = L".\\bin\\nobody-has-this.exe";
    Process process(std::move(description));
    EXPECT_EQ(Win32Text([&] { process.Start(); }), "CreateProcessW() failed");
    const auto token = Shared::Security::CreateAdminRestrictedToken();
    EXPECT_EQ(Win32Text([&] { process.StartAsUser(token); }), "CreateProcessAsUserW() failed");
    EXPECT_EQ(process.GetProcessHandle(), nullptr);
    EXPECT_EQ(process.GetProcessId(), 0U);
}

TEST(ProcessTest, AFolderThatIsNotThereIsToldToo)
{
    ProcessDescription description = Probe(L"probe");
    description.workingDirectory = L".\\no-such-folder";
    Process process(std::move(description));
    EXPECT_EQ(Win32Text([&] { process.Start(); }), "CreateProcessW() failed");
}

TEST(ProcessTest, ANullCharacterIsRefused)
{
    ProcessDescription description = Probe(std::wstring(L"probe --exit=7\0 --more", 22));
    Process process(std::move(description));
    EXPECT_EQ(
        TestSupport::InvalidArgumentText([&] { process.Start(); }), "Text with a null character for a child process");
}

TEST(ProcessTest, WithoutAProcessThereIsNoExitCode)
{
    const Process process;
    EXPECT_EQ(Win32Text([&] { (void)process.GetProcessExitCode(); }), "Failed to determine process exit code");
}

TEST(ProcessTest, ItsHandlesCanBeClosedAndItGoesOn)
{
    Process process(Probe(L"probe --hang"));
    process.Start();
    process.CloseThreadHandle();
    EXPECT_EQ(process.GetThreadHandle(), nullptr);
    const std::uint32_t id = process.GetProcessId();
    process.CloseProcessHandle();
    process.CloseProcessHandle();
    EXPECT_EQ(process.GetProcessHandle(), nullptr);
    EXPECT_EQ(process.GetProcessId(), id);
    EXPECT_TRUE(Contract::IsRunning(id));
    EXPECT_EQ(Win32Text([&] { (void)process.GetProcessExitCode(); }), "Failed to determine process exit code");
    Contract::KillProcess(id);
    EXPECT_TRUE(Contract::AwaitGone(id));
}

TEST(ProcessTest, DestroyingItLeavesTheProcessAlone)
{
    std::uint32_t id = 0;
    {
        Process process(Probe(L"probe --hang"));
        process.Start();
        id = process.GetProcessId();
    }
    EXPECT_TRUE(Contract::IsRunning(id));
    Contract::KillProcess(id);
    EXPECT_TRUE(Contract::AwaitGone(id));
}

TEST(ProcessTest, MovingHandsItOver)
{
    Process process(Probe(L"probe --exit=5"));
    process.Start();
    const std::uint32_t id = process.GetProcessId();
    Process moved = std::move(process);
    EXPECT_EQ(process.GetProcessHandle(), nullptr); // NOLINT(bugprone-use-after-move): what is left behind is told
    EXPECT_EQ(process.GetProcessId(), 0U);
    EXPECT_EQ(moved.GetProcessId(), id);
    EXPECT_EQ(ExitCodeOf(moved), 5U);
    Process assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.GetProcessExitCode(), 5U);
    EXPECT_EQ(assigned.GetCommandLineText(), L"probe --exit=5");
}

TEST(ProcessTest, WhatItWasToldCanBeAsked)
{
    ProcessDescription description = Probe(L"a b");
    description.workingDirectory = L".\\bin";
    description.inheritHandles = true;
    const std::wstring path = description.executablePath;
    const Process process(std::move(description));
    EXPECT_EQ(process.GetExecutablePath(), path);
    EXPECT_EQ(process.GetCommandLineText(), L"a b");
    EXPECT_EQ(process.GetWorkingDirectory(), L".\\bin");
    EXPECT_EQ(process.GetCreationFlags(), NoWindow);
    EXPECT_TRUE(process.GetInheritHandles());
}

TEST(ProcessTest, ALineWithoutAProgramNameIsTakenAsItIs)
{
    const std::vector<std::string> expected = {"-s", "vel.example.com", "-p", "1234", "-l", "5678"};
    EXPECT_EQ(ReportOfHelper({L"--helper-line", L"-s vel.example.com -p 1234 -l 5678"}).Texts("argument"), expected);
}

TEST(ProcessTest, AHelperGetsItsArgumentsAndPrintsWhereItsStarterDoes)
{
    const std::vector<std::string> arguments =
        ReportOfHelper({L"--helper", L"--report", L"with blank", L"-p"}).Texts("argument");
    ASSERT_EQ(arguments.size(), 4U);
    EXPECT_EQ(arguments[1], "--report");
    EXPECT_EQ(arguments[2], "with blank");
    EXPECT_EQ(arguments[3], "-p");
}

TEST(ProcessTest, AnInheritableEventReachesTheChildOnlyWhereItIsToInherit)
{
    for (const bool inherits : {false, true})
    {
        const HighEvent event(true);
        // Handles keep their numbers.
        ProcessDescription description = Probe(L"probe --is-handle=" + event.Number());
        description.inheritHandles = inherits;
        Process process(std::move(description));
        process.Start();
        EXPECT_EQ(ExitCodeOf(process), inherits ? 0U : 1U) << inherits;
    }
}

TEST(ProcessTest, AnEventThatIsNotInheritableReachesNoChild)
{
    const HighEvent event(false);
    ProcessDescription description = Probe(L"probe --is-handle=" + event.Number());
    description.inheritHandles = true;
    Process process(std::move(description));
    process.Start();
    EXPECT_EQ(ExitCodeOf(process), 1U);
}

TEST(ProcessTest, AnotherIdentityIsStartedWithTheEnvironmentThatItIsGiven)
{
    const Report report = ReportOfHelper({L"--helper-restricted", L"A=1", L"SystemRoot=C:\\windows", L"B=with blank"});
    const std::vector<std::string> environment = report.Texts("environment");
    EXPECT_THAT(environment, testing::IsSupersetOf({"A=1", "B=with blank"}));
    // Nothing of ours, beside what the system itself adds.
    for (const std::string& entry : environment)
    {
        EXPECT_FALSE(entry.starts_with("PATH=")) << entry;
    }
}
