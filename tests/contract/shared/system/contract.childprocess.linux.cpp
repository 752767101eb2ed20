#include "contract.childprocess.hpp"

#include <csignal>
#include <stdexcept>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

namespace Contract
{

struct ChildProcess::State
{
    ::pid_t id = -1;
    bool isCollected = false;
};

std::uint32_t OwnProcessId()
{
    return static_cast<std::uint32_t>(::getpid());
}

ChildProcess::ChildProcess() : m_state(std::make_unique<State>())
{
    m_state->id = ::fork();
    if (m_state->id == 0)
    {
        while (true)
        {
            ::pause();
        }
    }
    if (m_state->id < 0)
    {
        throw std::runtime_error("fork() failed");
    }
}

ChildProcess::~ChildProcess()
{
    End();
    Collect();
}

std::uint32_t ChildProcess::Id() const noexcept
{
    return static_cast<std::uint32_t>(m_state->id);
}

void ChildProcess::Resume()
{
}

void ChildProcess::End()
{
    if (!m_state->isCollected)
    {
        ::kill(m_state->id, SIGKILL);
        ::siginfo_t information{};
        ::waitid(P_PID, static_cast<::id_t>(m_state->id), &information, WEXITED | WNOWAIT);
    }
}

void ChildProcess::Collect()
{
    if (!std::exchange(m_state->isCollected, true))
    {
        ::waitpid(m_state->id, nullptr, 0);
    }
}

void* ChildProcess::ReleaseThreadHandle() noexcept
{
    return nullptr;
}

} // namespace Contract
