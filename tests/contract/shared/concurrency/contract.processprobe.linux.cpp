#include "contract.processprobe.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Contract::Probe
{

namespace
{

volatile std::sig_atomic_t s_isBroken = 0;

/// A line of the kernel's own account of this process, without its label.
std::string StatusLine(const std::string& label)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
    {
        if (line.starts_with(label + ":"))
        {
            const std::size_t start = line.find_first_not_of(" \t", label.size() + 1);
            return start == std::string::npos ? std::string() : line.substr(start);
        }
    }
    return "?";
}

std::string Descriptors()
{
    std::string list;
    for (int descriptor = 0; descriptor < 4096; ++descriptor)
    {
        if (::fcntl(descriptor, F_GETFD) >= 0)
        {
            list += (list.empty() ? "" : ",") + std::to_string(descriptor);
        }
    }
    return list;
}

/// Whether something beside users and modes keeps us from looking at what everybody may see, as Landlock does.
bool IsConfined()
{
    const int root = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (root >= 0)
    {
        ::close(root);
    }
    return root < 0;
}

[[noreturn]] void BecomeGrandchild()
{
    const int nowhere = ::open("/dev/null", O_RDWR);
    ::dup2(nowhere, 0);
    ::dup2(nowhere, 1);
    ::dup2(nowhere, 2);
    ::execl("/proc/self/exe", "grandchild", "--hang", nullptr);
    ::_exit(2);
}

void Tell(int pipe, pid_t process)
{
    (void)!::write(pipe, &process, sizeof process);
}

/// Ends this process and goes on in a child of it, which leads a session. @param pipe where the child's number is told.
void GoOnAlone(int pipe)
{
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child != 0)
    {
        Tell(pipe, child);
        ::_exit(0);
    }
    ::setsid();
    while (::getppid() == parent)
    {
        ::usleep(100);
    }
}

[[noreturn]] void BecomeDescendant(Descendant descendant, int pipe)
{
    if (descendant == Descendant::Child)
    {
        Tell(pipe, ::getpid());
        BecomeGrandchild();
    }
    ::setsid();
    GoOnAlone(pipe);
    if (descendant == Descendant::Fugitive)
    {
        // Whose parent has never been known to anybody.
        GoOnAlone(pipe);
    }
    BecomeGrandchild();
}

bool TryRun(const std::string& program)
{
    const pid_t process = ::fork();
    if (process == 0)
    {
        ::execl(program.c_str(), program.c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    return ::waitpid(process, &status, 0) == process && WIFEXITED(status) && WEXITSTATUS(status) != 127;
}

bool TryOpen(const std::string& file, int flags)
{
    const int descriptor = ::open(file.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor >= 0)
    {
        ::close(descriptor);
    }
    return descriptor >= 0;
}

bool TryRawSocket()
{
    const int socket = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (socket >= 0)
    {
        ::close(socket);
    }
    return socket >= 0;
}

} // namespace

std::vector<std::string> Environment()
{
    std::vector<std::string> entries;
    for (char** entry = ::environ; *entry != nullptr; ++entry)
    {
        entries.emplace_back(*entry);
    }
    return entries;
}

std::string WorkingFolder()
{
    return std::filesystem::current_path().string();
}

std::string DescribeSelf()
{
    struct Fact
    {
        const char* key;
        const char* label;
    };

    constexpr std::array Facts = {
        Fact{"user", "Uid"},
        Fact{"group", "Gid"},
        Fact{"groups", "Groups"},
        Fact{"capabilities.effective", "CapEff"},
        Fact{"capabilities.permitted", "CapPrm"},
        Fact{"capabilities.inheritable", "CapInh"},
        Fact{"capabilities.bounding", "CapBnd"},
        Fact{"capabilities.ambient", "CapAmb"},
        Fact{"no-new-privileges", "NoNewPrivs"},
        Fact{"signals.blocked", "SigBlk"},
        Fact{"signals.ignored", "SigIgn"},
    };
    std::string text;
    for (const Fact& fact : Facts)
    {
        text += std::string(fact.key) + "=" + StatusLine(fact.label) + "\n";
    }
    text += "descriptors=" + Descriptors() + "\n";
    text += "confined=" + std::to_string(IsConfined() ? 1 : 0) + "\n";
    text += "leads-group=" + std::to_string(::getpgrp() == ::getpid() ? 1 : 0) + "\n";
    return text;
}

void WaitToBeEnded()
{
    while (true)
    {
        ::pause();
    }
}

std::uint32_t StartSelf(Descendant descendant)
{
    // The number comes through a pipe, as a daemon's parent is gone by then.
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        throw std::runtime_error("pipe2() failed");
    }
    if (descendant == Descendant::Fugitive)
    {
        // What comes of us is not to be found below us.
        ::prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
    }
    const pid_t first = ::fork();
    if (first == 0)
    {
        BecomeDescendant(descendant, ends[1]);
    }
    ::close(ends[1]);
    if (descendant != Descendant::Child)
    {
        ::waitpid(first, nullptr, 0);
    }
    pid_t process = -1;
    for (int told = descendant == Descendant::Fugitive ? 2 : 1; told > 0; --told)
    {
        if (::read(ends[0], &process, sizeof process) != static_cast<ssize_t>(sizeof process))
        {
            throw std::runtime_error("the grandchild did not start");
        }
    }
    ::close(ends[0]);
    return static_cast<std::uint32_t>(process);
}

void MakeOutputBinary()
{
}

void HandleBreak(bool isHeeded)
{
    struct sigaction action = {};
    action.sa_handler = isHeeded ? +[](int) { s_isBroken = 1; } : SIG_IGN;
    ::sigaction(SIGINT, &action, nullptr);
    // What comes before somebody waits for it is kept.
    sigset_t interrupt;
    ::sigemptyset(&interrupt);
    ::sigaddset(&interrupt, SIGINT);
    ::sigprocmask(SIG_BLOCK, &interrupt, nullptr);
}

void AwaitBreak()
{
    sigset_t none;
    ::sigemptyset(&none);
    while (s_isBroken == 0)
    {
        ::sigsuspend(&none);
    }
}

void Crash()
{
    // No core file of a fault that is wanted.
    const rlimit nothing = {0, 0};
    ::setrlimit(RLIMIT_CORE, &nothing);
    ::signal(SIGSEGV, SIG_DFL);
    ::raise(SIGSEGV);
}

bool Try(std::string_view what, const std::string& with)
{
    if (what == "--is-handle")
    {
        // The lower half of the word is the descriptor's number and one.
        return ::fcntl(static_cast<int>(std::stoull(with) & 0xFFFFFFFFU) - 1, F_GETFD) >= 0;
    }
    if (what == "--try-write")
    {
        return TryOpen(with, O_WRONLY | O_CREAT);
    }
    if (what == "--try-read")
    {
        return TryOpen(with, O_RDONLY);
    }
    if (what == "--try-run")
    {
        return TryRun(with);
    }
    if (what == "--try-signal")
    {
        return ::kill(static_cast<pid_t>(std::stol(with)), 0) == 0;
    }
    return TryRawSocket();
}

} // namespace Contract::Probe

int main(int count, char** arguments)
{
    return Contract::Probe::Run({arguments, arguments + count});
}
