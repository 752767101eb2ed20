// What sampling costs: a snapshot of the machine with ten disks (the goal is 1 ms of processor time), and the two captures
// of processes with 2,000 of them more than the machine has anyway, against a bare walk that opens and reads the same
// files (the goal is a ratio of 1.5).

#include "agentcore.system-systemsnapshotter.hpp"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "agentcore.system-diskquery.linux.hpp"
#include "agentcore.system-processtimer.hpp"
#include "bench.ratio.hpp"
#include "shared.log-configuration.hpp"
#include "shared.system-procfile.linux.hpp"
#include "test.system-machinetree.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using namespace AgentCore::System;

namespace fs = std::filesystem;

void BeQuiet()
{
    Shared::Log::ConfigureLogging(
        static_cast<std::uint32_t>(Shared::Log::LoggerKind::Null), Shared::Log::Level::Off, "", 0, 0);
}

double ProcessorSeconds()
{
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

/// The argument is the number of disks. The disks are those of a recorded machine; all else is of this one.
void BM_DoSystemSnapshot(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    const auto folder = fs::temp_directory_path() / fmt::format("vel-sampling-bench-{}", std::random_device{}());
    const TestSupport::MachineTree tree(folder);
    tree.AddFile("/proc/self/mountinfo", TestSupport::MakeMountInfo(count));
    std::vector<LogicalDisk> disks(count);
    std::string diskStats;
    for (std::size_t i = 0; i < count; ++i)
    {
        disks[i].set_name(i == 0 ? "/" : fmt::format("/srv/volume-{}", i));
        tree.AddFolder(disks[i].name());
        diskStats += fmt::format("8 {} sd{} 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17\n", i + 1, i);
    }
    tree.AddFile("/proc/diskstats", diskStats);
    BeQuiet();
    SnapshotSources sources;
    sources.wlan = std::make_unique<AgentCore::Wlan::WlanQuerier>();
    sources.disks = std::make_unique<LinuxDiskQuerier>(tree.Root());
    SystemSnapshotter snapshotter(std::move(sources));
    const auto before = ProcessorSeconds();
    for ([[maybe_unused]] const auto iteration : state)
    {
        snapshotter.DoSystemSnapshot(disks);
    }
    const auto used = ProcessorSeconds() - before;
    if (snapshotter.GetLogicalDiskSnapshot(disks).size() != count)
    {
        state.SkipWithError("not all disks were sampled");
    }
    state.counters["cpu_ms"] = used * 1e3 / static_cast<double>(state.iterations());
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

/// Processes that do nothing, as many as were wanted or could be made.
class ManyProcesses
{
public:
    explicit ManyProcesses(std::size_t count)
    {
        const auto parent = ::getpid();
        for (std::size_t i = 0; i < count; ++i)
        {
            const auto id = ::fork();
            if (id == 0)
            {
                ::prctl(PR_SET_PDEATHSIG, SIGKILL);
                while (::getppid() == parent)
                {
                    ::pause();
                }
                ::_exit(0);
            }
            if (id < 0)
            {
                return;
            }
            m_ids.push_back(id);
        }
    }

    ManyProcesses(const ManyProcesses&) = delete;
    ManyProcesses& operator=(const ManyProcesses&) = delete;

    ~ManyProcesses()
    {
        for (const auto id : m_ids)
        {
            ::kill(id, SIGKILL);
        }
        for (const auto id : m_ids)
        {
            ::waitpid(id, nullptr, 0);
        }
    }

    std::size_t Count() const
    {
        return m_ids.size();
    }

private:
    std::vector<pid_t> m_ids;
};

std::vector<std::uint32_t> WalkIds()
{
    std::vector<std::uint32_t> ids;
    DIR* const folder = ::opendir("/proc");
    while (const dirent* const entry = ::readdir(folder))
    {
        char* end = nullptr;
        const auto id = std::strtoul(entry->d_name, &end, 10);
        if (*end == '\0')
        {
            ids.push_back(static_cast<std::uint32_t>(id));
        }
    }
    ::closedir(folder);
    return ids;
}

void ReadStat(std::uint32_t id)
{
    std::array<char, 64> path{};
    std::array<char, 4096> buffer;
    std::snprintf(path.data(), path.size(), "/proc/%u/stat", id);
    const int file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
    if (file >= 0)
    {
        benchmark::DoNotOptimize(::read(file, buffer.data(), buffer.size()));
        ::close(file);
    }
}

bool ReadImage(std::uint32_t id)
{
    std::array<char, 64> path{};
    std::array<char, 4096> buffer;
    std::snprintf(path.data(), path.size(), "/proc/%u/exe", id);
    return ::readlink(path.data(), buffer.data(), buffer.size()) >= 0;
}

void BM_FirstCapture(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    const ManyProcesses processes(count);
    if (processes.Count() != count)
    {
        state.SkipWithError("not as many processes can be made here");
        return;
    }
    BeQuiet();
    ProcessTimer timer(5);
    Bench::Compare(
        state, 1, [&timer] { timer.FirstCapture(); },
        []
        {
            for (const auto id : WalkIds())
            {
                if (ReadImage(id))
                {
                    ReadStat(id);
                }
            }
        });
    state.counters["ms"] = state.counters["ours_ns"] / 1e6;
}

void BM_FinalCapture(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    const ManyProcesses processes(count);
    if (processes.Count() != count)
    {
        state.SkipWithError("not as many processes can be made here");
        return;
    }
    BeQuiet();
    ProcessTimer timer(5);
    timer.FirstCapture();
    std::vector<std::uint32_t> ids;
    for (const auto id : WalkIds())
    {
        if (ReadImage(id))
        {
            ids.push_back(id);
        }
    }
    Bench::Compare(
        state, 1, [&timer] { timer.FinalCapture(); },
        [&ids]
        {
            for (const auto id : ids)
            {
                ReadStat(id);
            }
        });
    state.counters["ms"] = state.counters["ours_ns"] / 1e6;
}

} // namespace

BENCHMARK(BM_DoSystemSnapshot)->Arg(1)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FirstCapture)->Arg(500)->Arg(1000)->Arg(2000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FinalCapture)->Arg(500)->Arg(1000)->Arg(2000)->UseManualTime()->Unit(benchmark::kMillisecond);
