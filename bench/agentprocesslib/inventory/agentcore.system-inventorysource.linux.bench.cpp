// The whole inventory: of this machine against the bare reading of its files (the goal is 50 ms), and of recorded machines
// of three sizes, whose time for each mount and interface must not grow.

#include "agentcore.system-inventorysource.linux.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "agentcore.ops-startup.hpp"
#include "agentcore.system-systemquerier.hpp"
#include "bench.ratio.hpp"
#include "shared.log-configuration.hpp"
#include "shared.system-procfile.linux.hpp"
#include "test.system-machinetree.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::System::Adapter;

namespace fs = std::filesystem;

void BeQuiet()
{
    Shared::Log::ConfigureLogging(
        static_cast<std::uint32_t>(Shared::Log::LoggerKind::Null), Shared::Log::Level::Off, "", 0, 0);
}

void BM_ThisMachine(benchmark::State& state)
{
    constexpr std::array<const char*, 9> files{
        "/proc/cpuinfo",
        "/proc/self/mountinfo",
        "/proc/sys/kernel/hostname",
        "/proc/sys/kernel/osrelease",
        "/etc/os-release",
        "/etc/hosts",
        "/sys/devices/system/cpu/online",
        "/sys/devices/system/cpu/cpu0/topology/core_cpus_list",
        "/sys/firmware/dmi/tables/DMI"};
    BeQuiet();
    SystemQuerier querier;
    Bench::Compare(
        state, 1,
        [&querier]
        {
            Startup startup;
            AgentCore::Ops::FillStartupInventory(querier, startup);
            benchmark::DoNotOptimize(startup);
        },
        [&files]
        {
            for (const auto* const file : files)
            {
                benchmark::DoNotOptimize(Shared::System::ReadProcFile(file));
            }
        });
    state.counters["ms"] = state.counters["ours_ns"] / 1e6;
}

/// A recorded machine with that many mounts on devices, in a folder that is removed with it.
class RecordedMachine
{
public:
    explicit RecordedMachine(std::size_t mounts)
        : m_folder(fs::temp_directory_path() / fmt::format("vel-inventory-bench-{}", std::random_device{}())),
          m_tree(m_folder)
    {
        TestSupport::LayOutLaptop(m_tree);
        m_tree.AddFile("/proc/self/mountinfo", TestSupport::MakeMountInfo(mounts));
        for (std::size_t i = 1; i < mounts; ++i)
        {
            m_tree.AddFolder(fmt::format("/srv/volume-{}", i));
        }
    }

    RecordedMachine(const RecordedMachine&) = delete;
    RecordedMachine& operator=(const RecordedMachine&) = delete;

    ~RecordedMachine()
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }

    std::string Root() const
    {
        return m_tree.Root();
    }

private:
    fs::path m_folder;
    TestSupport::MachineTree m_tree;
};

std::vector<Adapter> MakeAdapters(std::size_t count)
{
    std::vector<Adapter> adapters(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        adapters[i].name = fmt::format("eth{}", i);
        adapters[i].type = Shared::System::AdapterType::Ethernet;
        adapters[i].status = Shared::System::OperationalStatus::Up;
        adapters[i].mac.assign(6, static_cast<std::uint8_t>(i));
        adapters[i].unicastAddresses.push_back(
            {{Shared::System::AddressFamily::IpV4, fmt::format("10.0.{}.1", i)}, 24});
    }
    return adapters;
}

/// The counter "per_item" is the time of the whole for each mount and interface.
void BM_RecordedMachine(benchmark::State& state)
{
    const auto mounts = static_cast<std::size_t>(state.range(0));
    const auto interfaces = static_cast<std::size_t>(state.range(1));
    BeQuiet();
    const RecordedMachine machine(mounts);
    SystemQuerier querier(
        std::make_unique<LinuxInventorySource>(machine.Root()),
        std::make_unique<NetworkingQuerier>([adapters = MakeAdapters(interfaces)] { return adapters; }),
        std::make_unique<AgentCore::Wlan::WlanQuerier>(nullptr));
    std::size_t told = 0;
    for ([[maybe_unused]] const auto iteration : state)
    {
        Startup startup;
        AgentCore::Ops::FillStartupInventory(querier, startup);
        told = static_cast<std::size_t>(startup.system().logical_drives_size() + startup.network().interfaces_size());
    }
    if (told != mounts + interfaces)
    {
        state.SkipWithError("the recorded machine is not told whole");
    }
    state.counters["per_item"] = benchmark::Counter(
        static_cast<double>(mounts + interfaces) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(BM_ThisMachine)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RecordedMachine)->Args({125, 16})->Args({250, 32})->Args({500, 64})->Unit(benchmark::kMillisecond);
