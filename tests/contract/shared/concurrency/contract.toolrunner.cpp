#include "contract.toolrunner.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "test.support-time.hpp"

#include <chrono>
#include <utility>

#include <gtest/gtest.h>

namespace Contract
{

namespace
{

using Shared::Concurrency::ProcessRunner;
using TestSupport::LimitMs;
using TestSupport::Stopwatch;

constexpr std::chrono::milliseconds Pause{5};

std::string FromHex(std::string_view digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    {
        bytes.push_back(static_cast<char>(std::stoul(std::string(digits.substr(i, 2)), nullptr, 16)));
    }
    return bytes;
}

/// How a line of this key begins, with the end of the one before.
std::string LineBegin(std::string_view key)
{
    return std::string(1, '\n').append(key).append(1, '=');
}

template <typename Condition>
void ReadWhile(ProcessRunner& runner, std::string& all, Condition holds)
{
    std::string bytes;
    for (const Stopwatch watch; holds() && watch.ElapsedMs() < LimitMs;)
    {
        runner.ReadFromPipe(bytes);
        all += bytes;
        if (bytes.empty())
        {
            Shared::Time::SleepFor(Pause);
        }
    }
}

} // namespace

ToolRunner::ToolRunner(
    std::vector<std::wstring> arguments, Shared::Raii::Win32Handle token, std::uint32_t creationFlags)
    : ProcessRunner(std::move(token), creationFlags), m_arguments(std::move(arguments))
{
}

bool ToolRunner::ShouldRun()
{
    return shouldRun;
}

std::vector<std::wstring> ToolRunner::BuildArgumentList()
{
    std::vector<std::wstring> arguments = {program};
    arguments.insert(arguments.end(), m_arguments.begin(), m_arguments.end());
    return arguments;
}

void ToolRunner::OnStarted()
{
    ++startedCalls;
    ProcessRunner::OnStarted();
}

std::string ReadUntil(ProcessRunner& runner, std::string_view text)
{
    std::string all;
    ReadWhile(runner, all, [&] { return all.find(text) == std::string::npos; });
    EXPECT_NE(all.find(text), std::string::npos) << "never printed: " << text << "\nbut: " << all;
    return all;
}

std::string ReadUntilNumber(ProcessRunner& runner, std::string_view key)
{
    // A line may come in pieces.
    const std::string wanted = LineBegin(key);
    std::string all = "\n";
    const auto isThere = [&all, &wanted]
    {
        const std::size_t found = all.find(wanted);
        return found != std::string::npos && all.find('\n', found + wanted.size()) != std::string::npos;
    };
    ReadWhile(runner, all, [&] { return !isThere(); });
    EXPECT_TRUE(isThere()) << "never printed: " << key << "\nbut: " << all;
    return all;
}

std::string ReadToEnd(ProcessRunner& runner)
{
    std::string all;
    std::string bytes;
    bool hasEnded = false;
    for (const Stopwatch watch; !hasEnded && watch.ElapsedMs() < LimitMs;)
    {
        hasEnded = Shared::Concurrency::WaitFor(runner.GetProcessHandle(), 5);
        runner.ReadFromPipe(bytes);
        all += bytes;
    }
    EXPECT_TRUE(hasEnded) << "still runs; printed: " << all;
    return all;
}

std::string RunTool(std::vector<std::wstring> arguments, Shared::Raii::Win32Handle token)
{
    ToolRunner runner(std::move(arguments), std::move(token));
    return runner.Start() ? ReadToEnd(runner) : "(not started)";
}

std::uint32_t NumberIn(std::string_view output, std::string_view key)
{
    const std::string lines = std::string(1, '\n').append(output);
    const std::string wanted = LineBegin(key);
    const std::size_t found = lines.find(wanted);
    return found == std::string::npos ? 0 : static_cast<std::uint32_t>(std::stoul(lines.substr(found + wanted.size())));
}

Report::Report(std::string_view output)
{
    for (const std::string& line : Shared::Util::Split(Shared::Util::ReplaceAll(output, "\r", ""), "\n"))
    {
        const std::size_t separator = line.find('=');
        if (separator != std::string::npos)
        {
            m_values.emplace(line.substr(0, separator), line.substr(separator + 1));
        }
    }
}

std::string Report::One(const std::string& key) const
{
    return m_values.count(key) == 1 ? m_values.find(key)->second : "(none)";
}

std::vector<std::string> Report::Texts(const std::string& key) const
{
    std::vector<std::string> texts;
    const auto [begin, end] = m_values.equal_range(key);
    for (auto value = begin; value != end; ++value)
    {
        texts.push_back(FromHex(value->second));
    }
    return texts;
}

bool AwaitGone(std::uint32_t processId)
{
    for (const Stopwatch watch; IsRunning(processId) && watch.ElapsedMs() < LimitMs;)
    {
        Shared::Time::SleepFor(Pause);
    }
    return !IsRunning(processId);
}

std::wstring OwnFolder()
{
    return Shared::Util::GetCurrentExecutableDirectory();
}

} // namespace Contract
