#include "contract.burner.linux.hpp"

#include <array>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "test.support-time.hpp"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Contract
{

namespace
{

using namespace std::chrono_literals;
using Shared::System::CpuTime;

CpuTime ToCpuTime(const timeval& time)
{
    return std::chrono::seconds{time.tv_sec} +
        std::chrono::duration_cast<CpuTime>(std::chrono::microseconds{time.tv_usec});
}

/// Runs in the new process, between fork() and exec(). The script takes its memory and stands still until it may work.
[[noreturn]] void BecomeProgram(const char* imagePath, const char* script)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::execl(imagePath, "sh", "-c", script, static_cast<char*>(nullptr));
    ::_exit(127);
}

} // namespace

Burner::Burner(const std::string& imagePath, std::size_t moreMemory)
{
    std::filesystem::copy_file(std::filesystem::canonical("/bin/sh"), imagePath);
    const auto script =
        fmt::format("memory=$(printf '%{}s' .); kill -STOP $$; while :; do :; done", moreMemory == 0 ? 1 : moreMemory);
    m_id = ::fork();
    if (m_id == 0)
    {
        BecomeProgram(imagePath.c_str(), script.c_str());
    }
    if (m_id < 0)
    {
        throw std::runtime_error("fork() failed");
    }
    AwaitStandstill();
}

Burner::~Burner()
{
    EndAndTellUsage();
}

std::uint32_t Burner::Id() const noexcept
{
    return static_cast<std::uint32_t>(m_id);
}

void Burner::Burn(CpuTime amount) const
{
    const TestSupport::Stopwatch watch;
    const auto end = Used() + amount;
    ::kill(m_id, SIGCONT);
    while (Used() < end)
    {
        if (watch.ElapsedMs() > TestSupport::LimitMs)
        {
            throw std::runtime_error("the burner gets no processor");
        }
        std::this_thread::sleep_for(1ms);
    }
    ::kill(m_id, SIGSTOP);
    AwaitStandstill();
}

CpuTime Burner::Used() const
{
    ::clockid_t clock{};
    timespec used{};
    if (::clock_getcpuclockid(m_id, &clock) != 0 || ::clock_gettime(clock, &used) != 0)
    {
        throw std::runtime_error("the burner has no clock");
    }
    return std::chrono::seconds{used.tv_sec} +
        std::chrono::duration_cast<CpuTime>(std::chrono::nanoseconds{used.tv_nsec});
}

void Burner::End() const
{
    ::kill(m_id, SIGKILL);
    ::siginfo_t information{};
    ::waitid(P_PID, static_cast<::id_t>(m_id), &information, WEXITED | WNOWAIT);
}

CpuTime Burner::EndAndTellUsage()
{
    const int id = std::exchange(m_id, -1);
    if (id < 0)
    {
        return CpuTime{0};
    }
    ::kill(id, SIGKILL);
    rusage usage{};
    ::wait4(id, nullptr, 0, &usage);
    return ToCpuTime(usage.ru_utime) + ToCpuTime(usage.ru_stime);
}

void Burner::AwaitStandstill() const
{
    ::siginfo_t information{};
    ::waitid(P_PID, static_cast<::id_t>(m_id), &information, WSTOPPED | WEXITED | WNOWAIT);
    const bool hasStopped = information.si_code == CLD_STOPPED;
    if (!hasStopped)
    {
        throw std::runtime_error("the burner has ended by itself");
    }
    ::waitid(P_PID, static_cast<::id_t>(m_id), &information, WSTOPPED);
}

} // namespace Contract
