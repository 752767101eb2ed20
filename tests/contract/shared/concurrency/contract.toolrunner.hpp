#pragma once

#include "shared.concurrency-processrunner.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Contract
{

/// The probe program (contract.processprobe-program.cpp), as tools are named; it lies in the folder `bin` beside the
/// test.
inline constexpr const wchar_t* ProbeTool = L"bin\\shared-process-probe";
/// The program that has children itself (contract.processowner-program.cpp); it lies beside the test.
inline constexpr const wchar_t* OwnerTool = L".\\shared-process-owner";

/// Runs the probe, or what is set as the program.
class ToolRunner : public Shared::Concurrency::ProcessRunner
{
public:
    explicit ToolRunner(
        std::vector<std::wstring> arguments, Shared::Raii::Win32Handle token = {}, std::uint32_t creationFlags = 0);

    bool ShouldRun() override;
    std::vector<std::wstring> BuildArgumentList() override;
    void OnStarted() override;

    using ProcessRunner::ClosePipesAndProcess;
    using ProcessRunner::QueryExitCode;
    using ProcessRunner::SetRedirectIo;

    std::wstring program = ProbeTool;
    bool shouldRun = true;
    int startedCalls = 0;

private:
    std::vector<std::wstring> m_arguments;
};

/// What a tool prints until `text` is in it, or until the time for that is over.
std::string ReadUntil(Shared::Concurrency::ProcessRunner& runner, std::string_view text);

/// What a tool prints until it has ended. A tool that does not is a failure of the test.
std::string ReadToEnd(Shared::Concurrency::ProcessRunner& runner);

/// Starts the probe with these arguments, and gives what it prints until its end.
std::string RunTool(std::vector<std::wstring> arguments, Shared::Raii::Win32Handle token = {});

/// What a tool prints until there is a line "key=<number>" in it.
std::string ReadUntilNumber(Shared::Concurrency::ProcessRunner& runner, std::string_view key);

/// The number behind "key=" in what a tool has printed; 0 when there is none.
std::uint32_t NumberIn(std::string_view output, std::string_view key);

/// A report of the probe: values by key, in order.
class Report
{
public:
    explicit Report(std::string_view output);

    /// The only value of the key; "(none)" when there is none.
    std::string One(const std::string& key) const;
    /// The values of a key whose values are given as digits, as text.
    std::vector<std::string> Texts(const std::string& key) const;

private:
    std::multimap<std::string, std::string> m_values;
};

/// Whether the process is there and has not ended.
bool IsRunning(std::uint32_t processId);
/// Waits until it has ended; false when it does not in time.
bool AwaitGone(std::uint32_t processId);
/// Ends it without a word, as the system does.
void KillProcess(std::uint32_t processId);

/// File name of a program on this platform.
std::wstring ProgramFile(const std::wstring& name);
/// The test's own folder, without a separator at the end.
std::wstring OwnFolder();

} // namespace Contract
