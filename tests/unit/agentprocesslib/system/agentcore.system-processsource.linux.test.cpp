#include "agentcore.system-processsource.linux.hpp"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.system-processtimer.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-temporaryfolder.hpp"
#include "test.system-machinetree.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using namespace AgentCore::System;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using Shared::System::CpuTime;
using testing::ElementsAre;

std::string MakeStat(
    std::uint32_t id, std::uint64_t user, std::uint64_t kernel, std::uint64_t start, std::uint64_t pages)
{
    return fmt::format(
        "{} (a name) S 1 1 1 0 -1 4194560 0 0 0 0 {} {} 0 0 20 0 1 0 {} 1000 {} 18446744073709551615 1 1\n", id, user,
        kernel, start, pages);
}

std::uint32_t CodeOf(const KeptProcess& process)
{
    try
    {
        (void)process.ReadCpuTime();
    }
    catch (const Win32Exception& exception)
    {
        EXPECT_EQ(TestSupport::BareText(exception.what()), "GetProcessTimes() failed");
        return exception.GetCode();
    }
    return 0;
}

/// The lowest descriptor that is free.
int NextDescriptor()
{
    const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(descriptor);
    return descriptor;
}

class LinuxProcessSourceTest : public testing::Test
{
protected:
    LinuxProcessSourceTest()
    {
        m_tree.AddFolder("/proc");
    }

    void AddProcess(std::uint32_t id, const std::string& image, std::uint64_t user, std::uint64_t start = 33)
    {
        m_tree.AddFile(fmt::format("/proc/{}/stat", id), MakeStat(id, user, 5, start, 10));
        m_tree.AddLink(fmt::format("/proc/{}/exe", id), image);
    }

    void SetStat(std::uint32_t id, const std::string& text)
    {
        m_tree.AddFile(fmt::format("/proc/{}/stat", id), text);
    }

    TestSupport::TemporaryFolder m_folder;
    TestSupport::MachineTree m_tree{m_folder.Path()};
    std::vector<std::uint32_t> m_ids;
};

TEST_F(LinuxProcessSourceTest, TellsImageMemoryAndTimes)
{
    AddProcess(7, "/usr/bin/tool", 20);
    LinuxProcessSource source(m_tree.Root());
    const auto capture = source.Capture(7);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->imagePath, L"/usr/bin/tool");
    EXPECT_EQ(capture->workingSet, 10U * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)));
    const auto tick = CpuTime{1s} / ::sysconf(_SC_CLK_TCK);
    EXPECT_EQ(capture->cpuTime, 25 * tick);
    SetStat(7, MakeStat(7, 100, 50, 33, 0));
    EXPECT_EQ(capture->process->ReadCpuTime(), 150 * tick);
}

TEST_F(LinuxProcessSourceTest, AProgramThatWasReplacedKeepsItsName)
{
    AddProcess(7, "/usr/bin/tool (deleted)", 20);
    EXPECT_EQ(LinuxProcessSource(m_tree.Root()).Capture(7)->imagePath, L"/usr/bin/tool");
    EXPECT_EQ(WithoutDeletedMark("/a (deleted) (deleted)"), "/a (deleted)");
    EXPECT_EQ(WithoutDeletedMark("(deleted)"), "(deleted)");
    EXPECT_EQ(WithoutDeletedMark(""), "");
}

TEST_F(LinuxProcessSourceTest, APathOfAnyBytesIsTold)
{
    AddProcess(7, "/opt/\xFFtool", 20);
    AddProcess(8, "/opt/a b (c)\n/d", 20);
    AddProcess(9, "/" + std::string(4000, 'x'), 20);
    LinuxProcessSource source(m_tree.Root());
    EXPECT_EQ(source.Capture(7)->imagePath, L"/opt/tool");
    EXPECT_EQ(source.Capture(8)->imagePath, L"/opt/a b (c)\n/d");
    EXPECT_EQ(source.Capture(9)->imagePath, L"/" + std::wstring(4000, L'x'));
}

TEST_F(LinuxProcessSourceTest, AProcessWithoutAProgramIsNone)
{
    // As the kernel's own: a stat alone. And one that is gone.
    SetStat(2, MakeStat(2, 1, 1, 1, 0));
    LinuxProcessSource source(m_tree.Root());
    EXPECT_FALSE(source.Capture(2));
    EXPECT_FALSE(source.Capture(3));
}

TEST_F(LinuxProcessSourceTest, AProcessThatEndsBetweenTwoReadsIsAFailure)
{
    m_tree.AddLink("/proc/7/exe", "/usr/bin/tool");
    LinuxProcessSource source(m_tree.Root());
    EXPECT_EQ(TestSupport::Win32Text([&source] { source.Capture(7); }), "K32GetProcessMemoryInfo() failed");
}

TEST_F(LinuxProcessSourceTest, ADamagedTextIsAFailure)
{
    m_tree.AddLink("/proc/7/exe", "/usr/bin/tool");
    LinuxProcessSource source(m_tree.Root());
    for (const auto& text :
         {std::string{}, std::string{"7 (a"}, std::string(100'000, ')'), MakeStat(7, 1ULL << 60U, 1, 1, 1)})
    {
        SetStat(7, text);
        EXPECT_EQ(TestSupport::Win32Text([&source] { source.Capture(7); }), "K32GetProcessMemoryInfo() failed");
    }
}

TEST_F(LinuxProcessSourceTest, AProgramThatIsNoLinkIsAFailure)
{
    m_tree.AddFile("/proc/7/exe", "text");
    LinuxProcessSource source(m_tree.Root());
    EXPECT_EQ(TestSupport::Win32Text([&source] { source.Capture(7); }), "GetModuleFileNameExW() failed");
}

TEST_F(LinuxProcessSourceTest, AnotherProcessWithTheSameIdIsNeverTakenForTheKeptOne)
{
    AddProcess(7, "/usr/bin/tool", 20, 33);
    const auto capture = LinuxProcessSource(m_tree.Root()).Capture(7);
    SetStat(7, MakeStat(7, 500, 500, 34, 10));
    EXPECT_EQ(CodeOf(*capture->process), static_cast<std::uint32_t>(ESRCH));
    m_tree.Remove("/proc/7");
    EXPECT_EQ(CodeOf(*capture->process), static_cast<std::uint32_t>(ESRCH));
}

TEST_F(LinuxProcessSourceTest, ATextThatIsDamagedLaterIsAFailure)
{
    AddProcess(7, "/usr/bin/tool", 20);
    const auto capture = LinuxProcessSource(m_tree.Root()).Capture(7);
    const auto whole = MakeStat(7, 20, 5, 33, 10);
    for (const auto& text : {std::string{}, whole.substr(0, 40), MakeStat(7, 1ULL << 60U, 5, 33, 10)})
    {
        SetStat(7, text);
        EXPECT_EQ(CodeOf(*capture->process), static_cast<std::uint32_t>(ENODATA)) << text;
    }
    SetStat(7, whole);
    EXPECT_EQ(capture->process->ReadCpuTime(), capture->cpuTime);
}

TEST_F(LinuxProcessSourceTest, WithoutProcEveryCaptureFails)
{
    LinuxProcessSource source(m_tree.Root() + "/nowhere");
    EXPECT_EQ(TestSupport::Win32Text([&source] { source.Capture(7); }), "GetModuleFileNameExW() failed");
}

TEST_F(LinuxProcessSourceTest, HundredsOfProcessesTakeOneDescriptor)
{
    constexpr std::uint32_t count = 200;
    for (std::uint32_t id = 1; id <= count; ++id)
    {
        AddProcess(id, fmt::format("/usr/bin/tool{}", id % 10), id);
        m_ids.push_back(id);
    }
    TestSupport::CapturedLog log;
    const int before = NextDescriptor();
    ProcessTimer timer(
        5, std::make_unique<LinuxProcessSource>(m_tree.Root(), [this] { return m_ids; }), [] { return 1U << 30U; });
    timer.FirstCapture();
    EXPECT_LE(NextDescriptor(), before + 1);
    for (std::uint32_t id = 1; id <= count; ++id)
    {
        // The programs whose number is 3 work more than all others.
        SetStat(id, MakeStat(id, id + (id % 10 == 3 ? 91 : 1), 5, 33, 10));
    }
    m_tree.Remove("/proc/200");
    timer.FinalCapture();
    std::pair<ProcessSnapshot, ProcessSnapshot> top;
    timer.GetTopConsumers(top);
    ASSERT_EQ(top.first.processes_size(), 5);
    EXPECT_EQ(top.first.processes(0).command(), "/usr/bin/tool3");
    EXPECT_NEAR(top.first.processes(0).percentage_cpu(), 100.0 * 20 * 91 / (20 * 91 + 179), 0.01);
    EXPECT_NEAR(
        top.first.processes(0).percentage_memory(),
        100.0 * 20 * 10 * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1U << 30U), 0.01);
    EXPECT_EQ(log.Count(Level::Warning, "Encountered an exception on final capture"), 1U);
}

} // namespace
