#include "contract.burner.linux.hpp"

#include <array>
#include <csignal>
#include <ctime>
#include <stdexcept>
#include <utility>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Contract
{

namespace
{

using Shared::System::CpuTime;

std::int64_t UsedNanoseconds()
{
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return used.tv_sec * 1'000'000'000LL + used.tv_nsec;
}

[[noreturn]] void RunOrders(int orders, int answers)
{
    std::int64_t milliseconds = 0;
    while (::read(orders, &milliseconds, sizeof(milliseconds)) == sizeof(milliseconds))
    {
        const auto end = UsedNanoseconds() + milliseconds * 1'000'000;
        while (UsedNanoseconds() < end)
        {
        }
        const auto written = ::write(answers, &milliseconds, sizeof(milliseconds));
        if (written != sizeof(milliseconds))
        {
            break;
        }
    }
    while (true)
    {
        ::pause();
    }
}

CpuTime ToCpuTime(const timeval& time)
{
    return std::chrono::seconds{time.tv_sec} +
        std::chrono::duration_cast<CpuTime>(std::chrono::microseconds{time.tv_usec});
}

} // namespace

Burner::Burner()
{
    std::array<int, 2> orders{};
    std::array<int, 2> answers{};
    if (::pipe(orders.data()) != 0 || ::pipe(answers.data()) != 0)
    {
        throw std::runtime_error("pipe() failed");
    }
    m_id = ::fork();
    if (m_id == 0)
    {
        RunOrders(orders[0], answers[1]);
    }
    ::close(orders[0]);
    ::close(answers[1]);
    m_orders = orders[1];
    m_answers = answers[0];
    if (m_id < 0)
    {
        throw std::runtime_error("fork() failed");
    }
}

Burner::~Burner()
{
    EndAndTellUsage();
    ::close(m_orders);
    ::close(m_answers);
}

std::uint32_t Burner::Id() const noexcept
{
    return static_cast<std::uint32_t>(m_id);
}

void Burner::Burn(std::chrono::milliseconds amount) const
{
    std::int64_t milliseconds = amount.count();
    if (::write(m_orders, &milliseconds, sizeof(milliseconds)) != sizeof(milliseconds) ||
        ::read(m_answers, &milliseconds, sizeof(milliseconds)) != sizeof(milliseconds))
    {
        throw std::runtime_error("the burner does not answer");
    }
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

} // namespace Contract
