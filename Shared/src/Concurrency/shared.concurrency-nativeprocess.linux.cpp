#include "shared.concurrency-nativeprocess.hpp"

#include "shared.concurrency-processenvironment.linux.hpp"
#include "shared.concurrency-processlink.linux.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.security-landlock.linux.hpp"
#include "shared.util-commandline.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Shared::Concurrency::Native
{

namespace
{

namespace Raw = Raii::Native;
using Raii::RawHandle;
using Raii::Win32Handle;

std::string Narrow(std::wstring_view text)
{
    if (text.find(L'\0') != std::wstring_view::npos)
    {
        throw Exception::InvalidArgumentException("Text with a null character for a child process");
    }
    return Util::ConvertStringType(text);
}

std::vector<std::string> Narrow(const std::vector<std::wstring>& texts)
{
    std::vector<std::string> narrow;
    narrow.reserve(texts.size());
    for (const std::wstring& text : texts)
    {
        narrow.push_back(Narrow(text));
    }
    return narrow;
}

/// A path as the agent's own programs have it, with separators of either kind, in this system's form and absolute. One
/// that is absolute already is taken as it stands.
std::string Resolve(const std::string& path)
{
    if (path.starts_with('/'))
    {
        return path;
    }
    const std::filesystem::path own = Util::ConvertStringType(Util::GetCurrentExecutableDirectory());
    return (own / Util::ReplaceAll(path, "\\", "/")).lexically_normal().string();
}

std::string ResolveFolder(const std::string& path)
{
    return path.empty() ? std::filesystem::current_path().string() : Resolve(path);
}

std::vector<std::string> ArgumentsOf(const ProcessRequest& request)
{
    std::vector<std::string> arguments =
        Narrow(request.arguments.empty() ? Util::SplitCommandLine(request.commandLine) : request.arguments);
    if (arguments.empty())
    {
        arguments.push_back(Narrow(request.program));
    }
    return arguments;
}

/// All descriptors of this process that are not closed by exec, beside the standard ones.
std::vector<int> FindInheritable()
{
    std::vector<int> found;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ignored))
    {
        const std::string name = entry.path().filename().string();
        int descriptor = -1;
        (void)std::from_chars(name.data(), name.data() + name.size(), descriptor);
        const int flags = descriptor > STDERR_FILENO ? ::fcntl(descriptor, F_GETFD) : -1;
        if (flags >= 0 && (flags & FD_CLOEXEC) == 0)
        {
            found.push_back(descriptor);
        }
    }
    return found;
}

/// Without streams of its own a child reads nothing, and writes where we do unless it is to have no output.
class PlainStreams
{
public:
    explicit PlainStreams(bool hasOutput)
        : m_nowhere(Raw::FromDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC))), m_hasOutput(hasOutput)
    {
    }

    bool IsValid() const noexcept
    {
        return m_nowhere.IsValid();
    }

    int Input() const noexcept
    {
        return Raw::DescriptorOf(m_nowhere.GetRawHandle());
    }

    int Output(int own) const noexcept
    {
        return m_hasOutput && ::fcntl(own, F_GETFD) >= 0 ? own : Input();
    }

private:
    Win32Handle m_nowhere;
    bool m_hasOutput;
};

StartedProcess Failed(int error) noexcept
{
    StartedProcess result;
    result.error = static_cast<std::uint32_t>(error);
    return result;
}

StartedProcess StartWithStreams(KeptProcess& process, const ProcessRequest& request)
{
    if (request.streams)
    {
        process.input = Raw::DescriptorOf(request.streams->input);
        process.output = Raw::DescriptorOf(request.streams->output);
        process.errors = process.output;
        return StartKept(process);
    }
    const PlainStreams streams((request.creationFlags & NoWindowFlag) == 0);
    if (!streams.IsValid())
    {
        return Failed(errno);
    }
    process.input = streams.Input();
    process.output = streams.Output(STDOUT_FILENO);
    process.errors = streams.Output(STDERR_FILENO);
    if (request.inheritHandles)
    {
        process.inherited = FindInheritable();
    }
    return StartKept(process);
}

} // namespace

StartedProcess StartProcess(const ProcessRequest& request)
{
    KeptProcess process;
    if (request.token != nullptr && !Security::ReadToken(request.token, process.identity))
    {
        return Failed(errno);
    }
    process.arguments = ArgumentsOf(request);
    process.program = Resolve(request.program.empty() ? process.arguments.front() : Narrow(request.program));
    process.workingDirectory = ResolveFolder(Narrow(request.workingDirectory));
    process.environment = request.environment ? Narrow(*request.environment) : MakeChildEnvironment(process.identity);
    process.hasOwnGroup = (request.creationFlags & NewProcessGroupFlag) != 0;
    process.ruleset = process.identity.hasLowIntegrity != 0 ? Security::GetLowIntegrityRuleset() : -1;
    process.job = request.job;
    return StartWithStreams(process, request);
}

std::wstring NullDeviceName()
{
    return L"/dev/null";
}

bool MakePipe(PipeEnds& ends) noexcept
{
    std::array<int, 2> descriptors{};
    if (::pipe2(descriptors.data(), O_CLOEXEC) != 0)
    {
        return false;
    }
    ends.read.Attach(Raw::FromDescriptor(descriptors[0]));
    ends.write.Attach(Raw::FromDescriptor(descriptors[1]));
    return true;
}

PipeResult PeekPipe(RawHandle pipe) noexcept
{
    const int descriptor = Raw::DescriptorOf(pipe);
    int count = 0;
    if (::ioctl(descriptor, FIONREAD, &count) != 0)
    {
        return {0, Platform::LastError()};
    }
    if (count > 0)
    {
        return {static_cast<std::uint32_t>(count), 0};
    }
    // Nothing to read is said in the same way whether something can still come or not. Writers that left after the
    // question above may have left something behind, so what poll says of that counts too.
    pollfd entry = {descriptor, POLLIN, 0};
    if (::poll(&entry, 1, 0) < 0)
    {
        return {0, Platform::LastError()};
    }
    const bool isOver = (entry.revents & POLLHUP) != 0 && (entry.revents & POLLIN) == 0;
    return {0, isOver ? Platform::ErrorCode::BrokenPipe : 0};
}

PipeResult ReadPipe(RawHandle pipe, std::span<char> buffer) noexcept
{
    ssize_t count = 0;
    do
    {
        count = ::read(Raw::DescriptorOf(pipe), buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0)
    {
        return {0, Platform::LastError()};
    }
    const bool isOver = count == 0 && !buffer.empty();
    return {static_cast<std::uint32_t>(count), isOver ? Platform::ErrorCode::BrokenPipe : 0};
}

} // namespace Shared::Concurrency::Native
