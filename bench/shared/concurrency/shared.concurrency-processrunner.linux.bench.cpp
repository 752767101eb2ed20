#include "shared.concurrency-processrunner.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.security-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using Shared::Concurrency::ProcessRunner;
using Shared::Raii::Win32Handle;

namespace
{

/// A tool that every machine has, with the libraries that a tool has; it waits to be ended.
constexpr const char* Tool = "/usr/bin/sleep";

/// The floor: the tool as the C library starts it, with two pipes as its standard streams.
class BareTool
{
public:
    bool Start()
    {
        std::array<int, 2> output{};
        std::array<int, 2> input{};
        if (::pipe2(output.data(), O_CLOEXEC) != 0 || ::pipe2(input.data(), O_CLOEXEC) != 0)
        {
            return false;
        }
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, input[0], 0);
        ::posix_spawn_file_actions_adddup2(&actions, output[1], 1);
        ::posix_spawn_file_actions_adddup2(&actions, output[1], 2);
        std::string program = Tool;
        std::string span = "1000";
        std::array<char*, 3> arguments = {program.data(), span.data(), nullptr};
        const int error = ::posix_spawn(&m_process, Tool, &actions, nullptr, arguments.data(), ::environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(output[1]);
        ::close(input[0]);
        m_ends = {output[0], input[1]};
        return error == 0;
    }

    void End()
    {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }

private:
    pid_t m_process = -1;
    std::array<int, 2> m_ends{};
};

class OurTool : public ProcessRunner
{
public:
    explicit OurTool(Win32Handle token) : ProcessRunner(std::move(token), 0)
    {
    }

    bool ShouldRun() override
    {
        return true;
    }

    std::vector<std::wstring> BuildArgumentList() override
    {
        return {L"/usr/bin/sleep", L"1000"};
    }
};

enum class As : std::int64_t
{
    Ourselves,
    PathTest,
    PlainTool,
    LowPlainTool
};

Win32Handle TokenFor(As identity)
{
    namespace Security = Shared::Security;
    switch (identity)
    {
    case As::PathTest:
        return Security::GetMtrChildProcessIdentity(false);
    case As::PlainTool:
        return Security::GetCurlTcPingChildProcessIdentity(false);
    case As::LowPlainTool:
        return Security::GetCurlTcPingChildProcessIdentity(true);
    case As::Ourselves:
        break;
    }
    return {};
}

double Undisturbed(std::vector<double>& values)
{
    const auto tenth = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 10);
    std::nth_element(values.begin(), tenth, values.end());
    return *tenth;
}

/// Seconds that `work` takes.
template <typename Work>
double Measure(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Touched memory of the size that a long-lived process has, which a start must not pay for.
std::vector<char> Ballast(std::int64_t megabytes)
{
    return std::vector<char>(static_cast<std::size_t>(megabytes) << 20U, 'x');
}

/// Long enough for whatever the starts and ends before have left to be done by others.
void Settle()
{
    ::usleep(1000);
}

// From the construction of a runner until its tool runs, with job, pipes and identity. The floor is the least that any
// start costs: two pipes and posix_spawn() of the same tool, with this process's own identity and environment, which
// returns when the tool runs too. What ends the tools is not measured, and each start waits until that is over. Goal: at
// most 3 times the floor, whatever the identity and however much memory the agent has. What cannot be had for less: the
// keeper is another process, so a start wakes it and is woken by it, each of which costs as much as the machine needs
// for it; on a busy machine compare medians of several runs.
void StartingATool(benchmark::State& state)
{
    // Where tools work.
    std::filesystem::create_directory(std::filesystem::path(Shared::Util::GetCurrentExecutableDirectory()) / "bin");
    const auto identity = static_cast<As>(state.range(0));
    const std::vector<char> ballast = Ballast(state.range(1));
    benchmark::DoNotOptimize(ballast.data());
    const Win32Handle token = TokenFor(identity);
    std::vector<double> ofOurs;
    std::vector<double> ofFloor;
    bool oursFirst = false;
    for ([[maybe_unused]] const auto iteration : state)
    {
        std::optional<OurTool> ours;
        BareTool floor;
        bool isStarted = false;
        double first = 0.0;
        double second = 0.0;
        oursFirst = !oursFirst;
        for (const bool isOurs : {oursFirst, !oursFirst})
        {
            Settle();
            if (isOurs)
            {
                first = Measure(
                    [&]
                    {
                        ours.emplace(token);
                        ours->Start();
                    });
            }
            else
            {
                second = Measure([&] { isStarted = floor.Start(); });
            }
        }
        if (!isStarted)
        {
            state.SkipWithError("posix_spawn() failed");
            break;
        }
        floor.End();
        const Win32Handle process(Shared::Raii::Native::DuplicateHandle(ours->GetProcessHandle()));
        ours.reset();
        Shared::Concurrency::WaitFor(process.GetRawHandle(), Shared::Time::Infinite);
        state.SetIterationTime(first);
        ofOurs.push_back(first * 1e9);
        ofFloor.push_back(second * 1e9);
    }
    if (!ofOurs.empty())
    {
        const double oursNs = Undisturbed(ofOurs);
        const double floorNs = Undisturbed(ofFloor);
        state.counters["ours_ns"] = oursNs;
        state.counters["floor_ns"] = floorNs;
        state.counters["ratio"] = oursNs / floorNs;
    }
}

BENCHMARK(StartingATool)
    ->UseManualTime()
    ->ArgNames({"identity", "ballastMegabytes"})
    ->Args({static_cast<std::int64_t>(As::Ourselves), 0})
    ->Args({static_cast<std::int64_t>(As::PathTest), 0})
    ->Args({static_cast<std::int64_t>(As::PlainTool), 0})
    ->Args({static_cast<std::int64_t>(As::LowPlainTool), 0})
    ->Args({static_cast<std::int64_t>(As::PlainTool), 64})
    ->Args({static_cast<std::int64_t>(As::PlainTool), 256});

} // namespace
