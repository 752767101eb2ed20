#include "shared.concurrency-processlaunch.linux.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <span>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Shared::Concurrency::Native::Keeper
{

namespace
{

/// Exit code of a process that has not got as far as its program.
constexpr int NeverStarted = 127;

/// One of several places at which an errno is at hand.
bool Holds(bool condition, int& error) noexcept
{
    error = condition ? 0 : errno;
    return condition;
}

/// In the new process: puts every descriptor where the program expects it. All others are closed by exec.
int ArrangeDescriptors(Launch& launch) noexcept
{
    const std::span<const std::int32_t> targets = {launch.request->inherited.data(), launch.request->inheritedCount};
    int error = 0;
    if (!targets.empty())
    {
        // First out of the way of each other's numbers.
        const int free = *std::max_element(targets.begin(), targets.end()) + 1;
        const auto move = [free, &error](int& descriptor) noexcept
        {
            const int moved = descriptor < 0 ? -1 : ::fcntl(descriptor, F_DUPFD_CLOEXEC, free);
            const bool isDone = Holds(descriptor < 0 || moved >= 0, error);
            descriptor = isDone ? moved : descriptor;
            return isDone;
        };
        const std::span<int> inherited = {launch.inherited.data(), targets.size()};
        if (!move(launch.failurePipe) || !move(launch.ruleset) || !move(launch.input) || !move(launch.output) ||
            !move(launch.errors) || !std::all_of(inherited.begin(), inherited.end(), move))
        {
            return error;
        }
    }
    bool areDone = ::dup2(launch.input, STDIN_FILENO) >= 0 && ::dup2(launch.output, STDOUT_FILENO) >= 0 &&
        ::dup2(launch.errors, STDERR_FILENO) >= 0;
    for (std::size_t i = 0; areDone && i < targets.size(); ++i)
    {
        areDone = ::dup2(launch.inherited[i], targets[i]) >= 0;
    }
    (void)Holds(areDone, error);
    return error;
}

[[noreturn]] void Fail(const Launch& launch, StartStep step, int error) noexcept
{
    const Failure failure = {step, error};
    (void)!::write(launch.failurePipe, &failure, sizeof failure);
    ::_exit(NeverStarted);
}

/// In the new process, which still has the keeper's memory: only system calls, and nothing but its own variables
/// changed.
[[noreturn]] void BecomeProgram(Launch launch) noexcept
{
    *launch.hasBegun = true;
    ::setsid();
    if (const int error = ArrangeDescriptors(launch); error != 0)
    {
        Fail(launch, StartStep::Descriptors, error);
    }
    if (::chdir(launch.folder) != 0)
    {
        Fail(launch, StartStep::Directory, errno);
    }
    if (const int error = Security::TakeOn(launch.request->identity, launch.ruleset); error != 0)
    {
        Fail(launch, StartStep::Identity, error);
    }
    // After the change of user, which would forget it. The keeper has one thread, so it means the keeper's end.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    if (::getppid() != launch.keeper)
    {
        ::_exit(NeverStarted);
    }
    ::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execve(launch.program, launch.arguments, launch.environment);
    Fail(launch, StartStep::Program, errno);
}

pid_t Split(const Launch& launch) noexcept
{
    // The keeper stands still until the new process has its program, and its memory is not copied for that moment.
    const pid_t process = ::vfork();
    if (process == 0)
    {
        BecomeProgram(launch);
    }
    return process;
}

/// What a new process says before it ends; nothing once it has its program. @param isOver whether it has been seen
/// to have come to the one or the other.
bool ReadFailure(int pipe, bool isOver, Failure& failure) noexcept
{
    if (!isOver)
    {
        // What was to share our memory until then got a copy, as tools that watch programs have it: exec closes the
        // pipe.
        pollfd entry = {pipe, POLLIN, 0};
        while (::poll(&entry, 1, -1) < 0 && errno == EINTR)
        {
        }
    }
    return ::read(pipe, &failure, sizeof failure) == static_cast<ssize_t>(sizeof failure);
}

} // namespace

Launched LaunchProgram(Launch& launch, Descriptors& descriptors) noexcept
{
    std::array<int, 2> failurePipe{};
    if (::pipe2(failurePipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
    {
        return {0, {StartStep::Request, errno}};
    }
    volatile bool hasBegun = false;
    launch.hasBegun = &hasBegun;
    launch.failurePipe = failurePipe[1];
    const pid_t process = Split(launch);
    Launched launched = {0, {StartStep::Request, errno}};
    ::close(failurePipe[1]);
    // Before anybody hears of the child: whoever then waits for the end of its output must not find us holding it.
    descriptors.CloseLent();
    if (process > 0 && !ReadFailure(failurePipe[0], hasBegun, launched.failure))
    {
        launched = {process, {}};
    }
    else if (process > 0)
    {
        ::waitpid(process, nullptr, 0);
    }
    ::close(failurePipe[0]);
    return launched;
}

} // namespace Shared::Concurrency::Native::Keeper
