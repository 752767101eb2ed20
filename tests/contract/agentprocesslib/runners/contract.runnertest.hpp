#pragma once

#include "../../shared/concurrency/contract.toolrunner.hpp"
#include "shared.concurrency-processrunner.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace Contract
{

/// Settings of the test's own in which the tunnel is up, and the log. The tools are contract.faketool-program.cpp.
class RunnerTest : public ::testing::Test
{
protected:
    RunnerTest();

    static void SetTunnelStatus(const std::wstring& text);
    static void SetDnsResolutionTimeoutMs(std::uint32_t milliseconds);
    /// That each of the two runs in the states that its configuration names, and with the tunnel up, and in no other.
    static void ExpectToRunWhereConfigured(
        Shared::Concurrency::ProcessRunner& whenInternal, Shared::Concurrency::ProcessRunner& whenDisconnected);

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
};

/// A runner whose tool is another one; the rest of the arguments stays.
template <typename Runner>
class WithTool : public Runner
{
public:
    template <typename... Arguments>
    explicit WithTool(std::wstring tool, Arguments&&... arguments)
        : Runner(std::forward<Arguments>(arguments)...), m_tool(std::move(tool))
    {
    }

    std::vector<std::wstring> BuildArgumentList() override
    {
        std::vector<std::wstring> arguments = Runner::BuildArgumentList();
        arguments.front() = m_tool;
        return arguments;
    }

private:
    std::wstring m_tool;
};

/// Waits of the agent's clock take a fraction of their time.
class FastClock
{
public:
    explicit FastClock(double speed = 1000);
    FastClock(const FastClock&) = delete;
    FastClock& operator=(const FastClock&) = delete;
    ~FastClock();
};

/// A target that makes the tool print this, and end with the code.
std::wstring Printing(std::string_view text, std::uint32_t exitCode = 0);
/// A target that makes it print this when it is asked to break off.
std::wstring PrintingAtBreak(std::string_view text);
/// Exit codes other than 0: all that a parent can see of a Linux child, or some where starting a process is slow.
std::vector<std::uint32_t> ExitCodes();

/// Makes what cannot be run in the folder of the tools: its names as tools, and that of one that is not there.
std::vector<std::wstring> MakeUnusableTools();

/// Starts the runner and awaits the end of its tool.
void RunToEnd(Shared::Concurrency::ProcessRunner& runner);
bool AwaitEnd(const Shared::Concurrency::ProcessRunner& runner);
/// Starts the runner: the arguments that the tool has got.
std::vector<std::wstring> ArgumentsOf(Shared::Concurrency::ProcessRunner& runner);
/// Starts the runner of a tool that prints without end, and awaits its end as long as a runner does: what is read is at most
/// what five pipes hold, and nothing else is kept.
void ExpectFloodToCostNoMemory(Shared::Concurrency::ProcessRunner& runner);

} // namespace Contract
