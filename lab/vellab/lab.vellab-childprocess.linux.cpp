#include "lab.vellab-childprocess.hpp"

#include "shared.raii-nativehandle.linux.hpp"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lab
{

namespace
{

constexpr int ExecFailed = 127;

/// In the new process, before the program: only what is safe there.
[[noreturn]] void Become(const ChildRequest& request, char* const* arguments, pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
    {
        ::_exit(ExecFailed);
    }
    // A group of its own, so that an interrupt at the terminal is for the laboratory, which then stops it in order.
    ::setpgid(0, 0);
    const int output = ::open(request.output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    const int errors = ::open(request.errors.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    const int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (input < 0 || output < 0 || errors < 0 || ::dup2(input, 0) < 0 || ::dup2(output, 1) < 0 ||
        ::dup2(errors, 2) < 0 || ::chdir(request.workingFolder.c_str()) != 0)
    {
        ::_exit(ExecFailed);
    }
    ::execv(request.program.c_str(), arguments);
    ::_exit(ExecFailed);
}

} // namespace

ChildProcess::ChildProcess(const ChildRequest& request)
{
    std::vector<std::string> texts;
    if (request.namesProgram)
    {
        texts.push_back(request.program.string());
    }
    texts.insert(texts.end(), request.arguments.begin(), request.arguments.end());
    std::vector<char*> arguments;
    for (std::string& text : texts)
    {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    if (::access(request.program.c_str(), X_OK) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot start " + request.program.string());
    }
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0)
    {
        Become(request, arguments.data(), parent);
    }
    if (child < 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot start " + request.program.string());
    }
    m_id = static_cast<std::uint32_t>(child);
    m_process.Attach(Shared::Raii::Native::FromDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0))));
}

ChildProcess::~ChildProcess()
{
    Kill();
}

std::uint32_t ChildProcess::GetId() const noexcept
{
    return m_id;
}

Shared::Raii::RawHandle ChildProcess::GetHandle() const noexcept
{
    return m_process.GetRawHandle();
}

std::optional<std::int32_t> ChildProcess::GetExitStatus()
{
    int status = 0;
    if (!m_exitStatus && ::waitpid(static_cast<pid_t>(m_id), &status, WNOHANG) == static_cast<pid_t>(m_id))
    {
        constexpr int SignalBase = 128;
        m_exitStatus = WIFSIGNALED(status) ? SignalBase + WTERMSIG(status) : WEXITSTATUS(status);
    }
    return m_exitStatus;
}

void ChildProcess::Kill() noexcept
{
    if (!m_exitStatus && m_id != 0 && ::kill(static_cast<pid_t>(m_id), SIGKILL) == 0)
    {
        int status = 0;
        if (::waitpid(static_cast<pid_t>(m_id), &status, 0) > 0)
        {
            constexpr int SignalBase = 128;
            m_exitStatus = WIFSIGNALED(status) ? SignalBase + WTERMSIG(status) : WEXITSTATUS(status);
        }
    }
}

} // namespace Lab
