#include "agentcore.system-processtimer.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/xchar.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using Shared::System::CpuTime;
using testing::ElementsAre;
using testing::IsEmpty;

/// A process as the test wants it.
struct FakeProcess
{
    std::wstring imagePath;
    std::int64_t cpuTime = 0;
    std::uint64_t workingSet = 0;
    bool canBeOpened = true;
    /// What fails when it is captured; empty for nothing.
    std::string captureFailure;
    bool isGone = false;
};

using Machine = std::map<std::uint32_t, FakeProcess>;

class FakeKeptProcess final : public KeptProcess
{
public:
    FakeKeptProcess(const Machine& machine, std::uint32_t id) : e_machine(machine), m_id(id)
    {
    }

    CpuTime ReadCpuTime() const override
    {
        const auto& process = e_machine.at(m_id);
        if (process.isGone)
        {
            throw Win32Exception("GetProcessTimes() failed", 3);
        }
        return CpuTime{process.cpuTime};
    }

private:
    const Machine& e_machine;
    std::uint32_t m_id;
};

class FakeSource final : public ProcessSource
{
public:
    explicit FakeSource(const Machine& machine) : e_machine(machine)
    {
    }

    std::vector<std::uint32_t> EnumerateProcessIds() override
    {
        std::vector<std::uint32_t> ids;
        for (const auto& [id, process] : e_machine)
        {
            ids.push_back(id);
        }
        return ids;
    }

    std::optional<ProcessCapture> Capture(std::uint32_t processId) override
    {
        const auto& process = e_machine.at(processId);
        if (!process.canBeOpened)
        {
            return std::nullopt;
        }
        if (!process.captureFailure.empty())
        {
            throw Win32Exception(process.captureFailure, 3);
        }
        return ProcessCapture{
            std::make_unique<FakeKeptProcess>(e_machine, processId), process.imagePath, process.workingSet,
            CpuTime{process.cpuTime}};
    }

private:
    const Machine& e_machine;
};

/// Command, percentages of processor and memory.
using Row = std::tuple<std::string, float, float>;

std::vector<Row> RowsOf(const ProcessSnapshot& snapshot)
{
    std::vector<Row> rows;
    for (const auto& process : snapshot.processes())
    {
        rows.emplace_back(process.command(), process.percentage_cpu(), process.percentage_memory());
    }
    return rows;
}

class ProcessTimerTest : public testing::Test
{
protected:
    void Add(const std::wstring& imagePath, std::int64_t cpuTime, std::uint64_t workingSet)
    {
        m_machine[static_cast<std::uint32_t>(m_machine.size()) + 100] = {imagePath, cpuTime, workingSet,
                                                                         true,      {},      false};
    }

    FakeProcess& At(std::uint32_t index)
    {
        return m_machine.at(100 + index);
    }

    std::pair<ProcessSnapshot, ProcessSnapshot> TopConsumers(const ProcessTimer& timer)
    {
        std::pair<ProcessSnapshot, ProcessSnapshot> result;
        // What stands in a result is replaced.
        result.first.add_processes()->set_command("left over");
        timer.GetTopConsumers(result);
        return result;
    }

    TestSupport::CapturedLog m_log;
    Machine m_machine;
    std::uint64_t m_totalMemory = 1000;
    ProcessTimer m_timer{
        5, std::make_unique<FakeSource>(m_machine),
        [this]
        {
            return m_totalMemory;
        }};
};

TEST_F(ProcessTimerTest, NamesTheProgramsByProcessorAndByMemoryWithBothPercentagesInBoth)
{
    Add(L"/a", 1000, 100);
    Add(L"/b", 1000, 500);
    m_timer.FirstCapture();
    At(0).cpuTime = 1750;
    At(1).cpuTime = 1250;
    m_timer.FinalCapture();
    const auto [cpu, memory] = TopConsumers(m_timer);
    EXPECT_THAT(RowsOf(cpu), ElementsAre(Row{"/a", 75.0F, 10.0F}, Row{"/b", 25.0F, 50.0F}));
    EXPECT_THAT(RowsOf(memory), ElementsAre(Row{"/b", 25.0F, 50.0F}, Row{"/a", 75.0F, 10.0F}));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(ProcessTimerTest, ProcessesOfOneImagePathAreOneEntry)
{
    Add(L"/a", 0, 125);
    Add(L"/b", 0, 125);
    Add(L"/a", 0, 125);
    m_timer.FirstCapture();
    At(0).cpuTime = 30;
    At(1).cpuTime = 20;
    At(2).cpuTime = 30;
    m_timer.FinalCapture();
    const auto [cpu, memory] = TopConsumers(m_timer);
    EXPECT_THAT(RowsOf(cpu), ElementsAre(Row{"/a", 75.0F, 25.0F}, Row{"/b", 25.0F, 12.5F}));
    EXPECT_THAT(RowsOf(memory), ElementsAre(Row{"/a", 75.0F, 25.0F}, Row{"/b", 25.0F, 12.5F}));
}

TEST_F(ProcessTimerTest, FiveOfManyAreNamed)
{
    for (std::uint32_t i = 0; i < 9; ++i)
    {
        Add(fmt::format(L"/{}", i), 0, 10 * (9 - i));
    }
    m_timer.FirstCapture();
    for (std::uint32_t i = 0; i < 9; ++i)
    {
        At(i).cpuTime = i;
    }
    m_timer.FinalCapture();
    const auto [cpu, memory] = TopConsumers(m_timer);
    std::vector<std::string> names;
    for (const auto& [name, ofCpu, ofMemory] : RowsOf(cpu))
    {
        names.push_back(name);
    }
    EXPECT_THAT(names, ElementsAre("/8", "/7", "/6", "/5", "/4"));
    names.clear();
    for (const auto& [name, ofCpu, ofMemory] : RowsOf(memory))
    {
        names.push_back(name);
    }
    EXPECT_THAT(names, ElementsAre("/0", "/1", "/2", "/3", "/4"));
}

TEST_F(ProcessTimerTest, WithFewerThanFiveAllAreNamed)
{
    Add(L"/a", 0, 1);
    Add(L"/b", 0, 2);
    m_timer.FirstCapture();
    m_timer.FinalCapture();
    const auto [cpu, memory] = TopConsumers(m_timer);
    EXPECT_EQ(cpu.processes_size(), 2);
    EXPECT_EQ(memory.processes_size(), 2);
}

TEST_F(ProcessTimerTest, WithoutCapturesThereIsNobodyToName)
{
    auto [cpu, memory] = TopConsumers(m_timer);
    EXPECT_EQ(cpu.processes_size(), 0);
    m_timer.FinalCapture();
    std::tie(cpu, memory) = TopConsumers(m_timer);
    EXPECT_EQ(memory.processes_size(), 0);
}

TEST_F(ProcessTimerTest, PercentagesOfNothingAreZero)
{
    Add(L"/a", 500, 100);
    m_totalMemory = 0;
    m_timer.FirstCapture();
    m_timer.FinalCapture();
    EXPECT_THAT(RowsOf(TopConsumers(m_timer).first), ElementsAre(Row{"/a", 0.0F, 0.0F}));
}

TEST_F(ProcessTimerTest, AProcessThatCannotBeOpenedIsPassedOverInSilence)
{
    Add(L"/a", 0, 1);
    Add(L"/hidden", 0, 1);
    At(1).canBeOpened = false;
    m_timer.FirstCapture();
    m_timer.FinalCapture();
    EXPECT_THAT(RowsOf(TopConsumers(m_timer).first), ElementsAre(Row{"/a", 0.0F, 0.1F}));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(ProcessTimerTest, AProcessWhoseDataFailIsLeftOutWithAWarning)
{
    Add(L"/a", 0, 1);
    for (const auto* const text :
         {"GetModuleFileNameExW() failed", "K32GetProcessMemoryInfo() failed", "GetProcessTimes() failed"})
    {
        Add(L"/b", 0, 1);
        At(static_cast<std::uint32_t>(m_machine.size()) - 1).captureFailure = text;
    }
    m_timer.FirstCapture();
    m_timer.FinalCapture();
    EXPECT_EQ(TopConsumers(m_timer).second.processes_size(), 1);
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_THAT(lines[0].text, testing::StartsWith("Failed to get data on process 101: Exception in function "));
    EXPECT_THAT(lines[0].text, testing::HasSubstr("GetModuleFileNameExW() failed"));
    EXPECT_THAT(lines[1].text, testing::HasSubstr("process 102: "));
    EXPECT_THAT(lines[2].text, testing::HasSubstr("GetProcessTimes() failed"));
    EXPECT_EQ(m_log.Count(Level::Warning, "Failed to get data on process"), 3U);
}

TEST_F(ProcessTimerTest, AProcessThatIsGoneCountsNoMoreAndTakesNobodysPlace)
{
    for (std::uint32_t i = 0; i < 7; ++i)
    {
        Add(fmt::format(L"/{}", i), 0, 100 - i);
    }
    Add(L"/0", 0, 5);
    m_timer.FirstCapture();
    for (std::uint32_t i = 0; i < 8; ++i)
    {
        At(i).cpuTime = 100;
    }
    At(0).isGone = true;
    At(1).isGone = true;
    m_timer.FinalCapture();
    const auto [cpu, memory] = TopConsumers(m_timer);
    // Six are left: of the first program the second process alone, of the second program none.
    ASSERT_EQ(memory.processes_size(), 5);
    EXPECT_EQ(memory.processes(0).command(), "/2");
    ASSERT_EQ(cpu.processes_size(), 5);
    EXPECT_EQ(cpu.processes(0).command(), "/0");
    EXPECT_FLOAT_EQ(cpu.processes(0).percentage_cpu(), 100.0F / 6.0F);
    EXPECT_FLOAT_EQ(cpu.processes(0).percentage_memory(), 0.5F);
    EXPECT_EQ(cpu.processes(1).command(), "/2");
    EXPECT_EQ(m_log.Count(Level::Warning, "Encountered an exception on final capture"), 2U);
    EXPECT_EQ(m_log.Lines().size(), 2U);
}

TEST_F(ProcessTimerTest, WhenAllProcessesAreGoneNobodyIsNamed)
{
    Add(L"/a", 0, 1);
    Add(L"/b", 0, 1);
    m_timer.FirstCapture();
    At(0).isGone = true;
    At(1).isGone = true;
    m_timer.FinalCapture();
    const auto [cpu, memory] = TopConsumers(m_timer);
    EXPECT_EQ(cpu.processes_size(), 0);
    EXPECT_EQ(memory.processes_size(), 0);
}

TEST_F(ProcessTimerTest, AMachineThatDoesNotListItsProcessesFailsTheFirstCapture)
{
    class NoList final : public ProcessSource
    {
    public:
        std::vector<std::uint32_t> EnumerateProcessIds() override
        {
            throw Win32Exception("EnumProcesses() failed", 5);
        }

        std::optional<ProcessCapture> Capture(std::uint32_t) override
        {
            return std::nullopt;
        }
    };

    ProcessTimer timer(5, std::make_unique<NoList>(), [] { return 1000U; });
    EXPECT_EQ(TestSupport::Win32Text([&timer] { timer.FirstCapture(); }), "EnumProcesses() failed");
    timer.FinalCapture();
    EXPECT_EQ(TopConsumers(timer).first.processes_size(), 0);
}

TEST_F(ProcessTimerTest, ProcessesThatCameLaterAreNotSeen)
{
    Add(L"/a", 0, 1);
    m_timer.FirstCapture();
    Add(L"/b", 1000, 1);
    m_timer.FinalCapture();
    EXPECT_EQ(TopConsumers(m_timer).first.processes_size(), 1);
}

TEST_F(ProcessTimerTest, ACounterThatWentBackHasCountedNothing)
{
    Add(L"/a", 1000, 1);
    Add(L"/b", 1000, 1);
    m_timer.FirstCapture();
    At(0).cpuTime = 900;
    At(1).cpuTime = 1100;
    m_timer.FinalCapture();
    EXPECT_THAT(RowsOf(TopConsumers(m_timer).first), ElementsAre(Row{"/b", 100.0F, 0.1F}, Row{"/a", 0.0F, 0.1F}));
}

TEST_F(ProcessTimerTest, EachCaptureStartsAnew)
{
    Add(L"/a", 0, 1);
    m_timer.FirstCapture();
    m_timer.FirstCapture();
    At(0).cpuTime = 10;
    m_timer.FinalCapture();
    At(0).cpuTime = 20;
    m_timer.FinalCapture();
    EXPECT_THAT(RowsOf(TopConsumers(m_timer).first), ElementsAre(Row{"/a", 100.0F, 0.1F}));
}

TEST_F(ProcessTimerTest, PathsBecomeUtf8)
{
    Add(L"C:\\Gr\u00FC\u00DFe.exe", 0, 1);
    m_timer.FirstCapture();
    EXPECT_EQ(
        TopConsumers(m_timer).first.processes(0).command(),
        "C:\\Gr\xC3\xBC\xC3\x9F"
        "e.exe");
}

} // namespace
