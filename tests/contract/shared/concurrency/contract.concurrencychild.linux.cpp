#include "contract.concurrencychild.hpp"

#include "shared.raii-nativehandle.linux.hpp"
#include "shared.raii-win32handle.hpp"
#include "shared.util-functions.hpp"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Contract
{

namespace
{

[[noreturn]] void Throw(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

struct ConcurrencyChild::State
{
    ::pid_t id = -1;
    Shared::Raii::Win32Handle process;
    bool isCollected = false;
};

ConcurrencyChild::ConcurrencyChild(const std::vector<std::wstring>& arguments) : m_state(std::make_unique<State>())
{
    const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    std::vector<std::string> words = {(folder / Shared::Util::ConvertStringType(ProgramName())).string()};
    for (const std::wstring& argument : arguments)
    {
        words.push_back(Shared::Util::ConvertStringType(argument));
    }
    std::vector<char*> list;
    for (std::string& word : words)
    {
        list.push_back(word.data());
    }
    list.push_back(nullptr);
    m_state->id = ::vfork();
    if (m_state->id == 0)
    {
        ::execv(list.front(), list.data());
        ::_exit(127);
    }
    if (m_state->id < 0)
    {
        Throw("vfork() failed");
    }
    const auto descriptor = static_cast<int>(::syscall(SYS_pidfd_open, m_state->id, 0));
    if (descriptor < 0)
    {
        Throw("pidfd_open() failed");
    }
    m_state->process.Attach(Shared::Raii::Native::FromDescriptor(descriptor));
}

ConcurrencyChild::~ConcurrencyChild()
{
    Kill();
}

std::uint32_t ConcurrencyChild::Id() const noexcept
{
    return static_cast<std::uint32_t>(m_state->id);
}

Shared::Raii::RawHandle ConcurrencyChild::Handle() const noexcept
{
    return m_state->process.GetRawHandle();
}

void ConcurrencyChild::Kill()
{
    if (!m_state->isCollected)
    {
        ::kill(m_state->id, SIGKILL);
        Wait();
    }
}

std::uint32_t ConcurrencyChild::Wait()
{
    int status = 0;
    while (::waitpid(m_state->id, &status, 0) < 0 && errno == EINTR)
    {
    }
    m_state->isCollected = true;
    return static_cast<std::uint32_t>(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

std::wstring ConcurrencyChild::ProgramName()
{
    return L"shared-concurrency-child";
}

std::uint32_t OwnId()
{
    return static_cast<std::uint32_t>(::getpid());
}

std::wstring OwnProgramName()
{
    return std::filesystem::read_symlink("/proc/self/exe").filename().wstring();
}

} // namespace Contract
