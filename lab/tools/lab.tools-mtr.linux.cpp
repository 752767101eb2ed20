#include "lab.tools-mtr.hpp"

#include "lab.tools-descriptor.linux.hpp"
#include "lab.tools-systemprogram.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lab::Tools
{

namespace
{

/// What the program may print at most: 255 hops are a hundredth of that.
constexpr std::size_t MostOutput = 4'000'000;

[[noreturn]] void Fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

std::string Seconds(std::chrono::nanoseconds span)
{
    return fmt::format("{:.3f}", std::chrono::duration<double>(span).count());
}

/// Nothing from outside is among them as it came: numbers, and an address in numbers.
std::vector<std::string> ProgramArguments(const MtrArguments& arguments, const std::string& address)
{
    const auto timeout = std::chrono::ceil<std::chrono::seconds>(arguments.timeout);
    // The program waits for as long behind its last probe, whatever has come by then.
    constexpr std::chrono::nanoseconds LongestGrace = std::chrono::seconds(5);
    return {
        "mtr",
        "--json",
        "-4",
        arguments.showsAddresses ? "--show-ips" : "--no-dns",
        "--report-cycles",
        std::to_string(arguments.cycles),
        "--interval",
        Seconds(arguments.interval),
        "--gracetime",
        Seconds(std::min(arguments.timeout, LongestGrace)),
        "--timeout",
        std::to_string(timeout.count()),
        address};
}

/// In the new process: only what is safe there. The program ends with this one.
[[noreturn]] void Become(const std::string& program, char* const* arguments, int output, pid_t parent)
{
    constexpr int ExecFailed = 127;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() == parent && ::dup2(output, STDOUT_FILENO) >= 0)
    {
        ::execv(program.c_str(), arguments);
    }
    ::_exit(ExecFailed);
}

pid_t Start(const std::string& program, std::vector<std::string> texts, int output)
{
    std::vector<char*> arguments;
    for (std::string& text : texts)
    {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0)
    {
        Fail("fork");
    }
    if (child == 0)
    {
        Become(program, arguments.data(), output, parent);
    }
    return child;
}

/// All that comes, up to the most that is taken.
std::string ReadAll(int descriptor)
{
    std::string all;
    std::array<char, 16'384> part = {};
    while (all.size() < MostOutput)
    {
        const ssize_t size = ::read(descriptor, part.data(), part.size());
        if (size == 0)
        {
            break;
        }
        if (size > 0)
        {
            all.append(part.data(), static_cast<std::size_t>(size));
        }
        else if (errno != EINTR)
        {
            Fail("read");
        }
    }
    return all;
}

int AwaitEnd(pid_t child)
{
    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
    {
        if (errno != EINTR)
        {
            Fail("waitpid");
        }
    }
    return status;
}

} // namespace

Path MeasurePath(const MtrArguments& arguments, const std::string& address)
{
    const std::filesystem::path program = FindSystemProgram("mtr");
    if (program.empty())
    {
        throw std::runtime_error("Debian's mtr is not installed (package mtr-tiny)");
    }
    std::array<int, 2> ends = {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        Fail("pipe");
    }
    Descriptor reading(ends[0], "pipe");
    Descriptor writing(ends[1], "pipe");
    const pid_t child = Start(program.string(), ProgramArguments(arguments, address), writing.Get());
    writing.Close();
    const std::string output = ReadAll(reading.Get());
    reading.Close();
    if (const int status = AwaitEnd(child); status != 0)
    {
        throw std::runtime_error(fmt::format("{} ended with status {:#x}", program.string(), status));
    }
    return ReadMtrOutput(output);
}

} // namespace Lab::Tools
