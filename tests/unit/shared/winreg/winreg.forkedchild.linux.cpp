#include "winreg.forkedchild.linux.hpp"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>

#include "shared.winreg-store.linux.hpp"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TestSupport
{

ChildLine::ChildLine(int descriptor) noexcept : m_descriptor(descriptor)
{
}

ChildLine::ChildLine(ChildLine&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1))
{
}

ChildLine::~ChildLine()
{
    if (m_descriptor >= 0)
    {
        ::close(m_descriptor);
    }
}

void ChildLine::Send(std::uint32_t number) const
{
    if (::send(m_descriptor, &number, sizeof(number), MSG_NOSIGNAL) != sizeof(number))
    {
        throw std::runtime_error("the other process is gone");
    }
}

std::optional<std::uint32_t> ChildLine::Receive() const
{
    std::uint32_t number = 0;
    if (::recv(m_descriptor, &number, sizeof(number), MSG_WAITALL) != sizeof(number))
    {
        return std::nullopt;
    }
    return number;
}

ForkedChild::ForkedChild(const std::function<int(ChildLine&)>& body)
{
    Shared::WinReg::CloseSettingsStore();
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    {
        throw std::runtime_error("socketpair failed");
    }
    m_process = ::fork();
    if (m_process < 0)
    {
        throw std::runtime_error("fork failed");
    }
    if (m_process == 0)
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::close(ends[0]);
        int code = 120;
        try
        {
            ChildLine line(ends[1]);
            code = body(line);
        }
        catch (const std::exception& failure)
        {
            std::fprintf(stderr, "in the child: %s\n", failure.what());
        }
        ::_exit(code);
    }
    ::close(ends[1]);
    m_line.emplace(ends[0]);
}

ForkedChild::~ForkedChild()
{
    if (m_process > 0)
    {
        Kill();
        Join();
    }
}

ChildLine& ForkedChild::Line()
{
    return *m_line;
}

void ForkedChild::Kill()
{
    ::kill(m_process, SIGKILL);
}

int ForkedChild::Join()
{
    int status = 0;
    ::waitpid(std::exchange(m_process, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace TestSupport
