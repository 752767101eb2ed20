#include "shared.concurrency-processlink.linux.hpp"

#include "shared.concurrency-processkeeper.linux.hpp"
#include "shared.concurrency-processpackets.linux.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.raii-win32handle.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Shared::Concurrency::Native
{

namespace
{

namespace Raw = Raii::Native;
using Raii::RawHandle;
using Raii::Win32Handle;

/// Real time: how long a start takes has nothing to do with the agent's clock.
constexpr int RealAnswerLimitMs = 10'000;
/// For a keeper that has been given up, and has nobody left to end.
constexpr int RealEndLimitMs = 1'000;

int DescriptorOf(const Win32Handle& handle) noexcept
{
    return Raw::DescriptorOf(handle.GetRawHandle());
}

/// A connected pair of sockets that keep packets whole. Empty on failure.
std::array<Win32Handle, 2> MakeSockets() noexcept
{
    std::array<int, 2> ends{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
    {
        return {};
    }
    return {Win32Handle(Raw::FromDescriptor(ends[0])), Win32Handle(Raw::FromDescriptor(ends[1]))};
}

bool IsReadable(int descriptor, int realPatienceMs) noexcept
{
    pollfd entry = {descriptor, POLLIN, 0};
    int ready = 0;
    do
    {
        ready = ::poll(&entry, 1, realPatienceMs);
    } while (ready < 0 && errno == EINTR);
    return ready == 1;
}

/// The number of the process behind a pidfd; 0 when it is none, or nobody's number any more.
int ProcessOf(int descriptor)
{
    const Win32Handle file(
        Raw::FromDescriptor(::open(fmt::format("/proc/self/fdinfo/{}", descriptor).c_str(), O_RDONLY | O_CLOEXEC)));
    std::array<char, 1024> text{};
    const ssize_t count = ::read(DescriptorOf(file), text.data(), text.size());
    const std::string_view lines(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    constexpr std::string_view Label = "\nPid:\t";
    const std::size_t found = lines.find(Label);
    int process = 0;
    if (found != std::string_view::npos)
    {
        const std::string_view number = lines.substr(found + Label.size());
        (void)std::from_chars(number.data(), number.data() + number.size(), process);
    }
    return std::max(process, 0);
}

/// One packet with its descriptors.
bool Send(int socket, std::span<const char> packet, std::span<const int> descriptors) noexcept
{
    iovec text = {const_cast<char*>(packet.data()), packet.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int) * Keeper::MostDescriptors)> control{};
    msghdr message = {};
    message.msg_iov = &text;
    message.msg_iovlen = 1;
    if (!descriptors.empty())
    {
        message.msg_control = control.data();
        message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(descriptors.size_bytes());
        std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size_bytes());
    }
    ssize_t sent = 0;
    do
    {
        sent = ::sendmsg(socket, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(packet.size());
}

/// What a child's socket says next; the descriptor that comes with it, if any, into `received`. Nothing when the keeper
/// has gone away, or has nothing to say and `mayWait` is false.
std::optional<Keeper::Reply> Receive(int socket, bool mayWait, Win32Handle& received) noexcept
{
    Keeper::Reply reply;
    iovec text = {&reply, sizeof reply};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message = {};
    message.msg_iov = &text;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    if (mayWait && !IsReadable(socket, RealAnswerLimitMs))
    {
        errno = ETIMEDOUT;
        return std::nullopt;
    }
    ssize_t count = 0;
    do
    {
        count = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
    } while (count < 0 && errno == EINTR);
    if (count != static_cast<ssize_t>(sizeof reply))
    {
        errno = count < 0 ? errno : ECONNRESET;
        return std::nullopt;
    }
    if (const cmsghdr* const header = CMSG_FIRSTHDR(&message); header != nullptr && header->cmsg_type == SCM_RIGHTS)
    {
        int descriptor = -1;
        std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
        received.Attach(Raw::FromDescriptor(descriptor));
    }
    return reply;
}

/// One keeper process and the socket to it.
class Link
{
public:
    /// Null when there can be none, with the code in LastError().
    static std::shared_ptr<Link> Make(Keeper::Kind kind)
    {
        std::array<Win32Handle, 2> sockets = MakeSockets();
        if (!sockets[0].IsValid())
        {
            return nullptr;
        }
        const int room = static_cast<int>(Keeper::LongestRequest) * 2;
        (void)::setsockopt(DescriptorOf(sockets[0]), SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
        // A keeper that stands still takes no request once that room is full.
        const timeval realLimit = {RealAnswerLimitMs / 1000, 0};
        (void)::setsockopt(DescriptorOf(sockets[0]), SOL_SOCKET, SO_SNDTIMEO, &realLimit, sizeof realLimit);
        // No handler of the agent may run in the copy.
        sigset_t all;
        sigset_t before;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before);
        const pid_t process = ::fork();
        if (process == 0)
        {
            Keeper::Run(DescriptorOf(sockets[1]), kind);
        }
        const int error = errno;
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        errno = error;
        return process < 0 ? nullptr : std::make_shared<Link>(process, std::move(sockets[0]));
    }

    Link(pid_t process, Win32Handle socket) noexcept : m_process(process), m_socket(std::move(socket))
    {
    }

    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    ~Link()
    {
        m_socket.Close();
        if (m_owner == ::getpid())
        {
            // It has ended, or does so now that nobody speaks to it; only a child that the kernel cannot end right away
            // holds it up, and then it stays as a process that has ended until we end too.
            const Win32Handle end(Raw::FromDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, m_process, 0))));
            (void)IsReadable(DescriptorOf(end), RealEndLimitMs);
            (void)::waitpid(m_process, nullptr, WNOHANG);
        }
    }

    int Socket() const noexcept
    {
        return DescriptorOf(m_socket);
    }

    /// A copy of this process, made by fork(), has the socket too, but the children would not be its own.
    bool IsOfThisProcess() const noexcept
    {
        return m_owner == ::getpid();
    }

private:
    pid_t m_owner = ::getpid();
    pid_t m_process;
    Win32Handle m_socket;
};

/// The two keepers of this process, each made when it is first needed.
class Links
{
public:
    static Links& Get()
    {
        // Never destroyed: the sockets must live as long as the process, whose end is what the keepers watch.
        static auto& s_links = *new Links;
        return s_links;
    }

    std::shared_ptr<Link> Find(Keeper::Kind kind)
    {
        const std::scoped_lock hold(m_lock);
        std::shared_ptr<Link>& link = At(kind);
        if (link != nullptr && !link->IsOfThisProcess())
        {
            link = nullptr;
        }
        if (link == nullptr)
        {
            link = Link::Make(kind);
        }
        return link;
    }

    /// The keeper does not answer any more; the next start makes another.
    void Forget(Keeper::Kind kind, const std::shared_ptr<Link>& lost)
    {
        const std::scoped_lock hold(m_lock);
        if (At(kind) == lost)
        {
            At(kind) = nullptr;
        }
    }

private:
    std::shared_ptr<Link>& At(Keeper::Kind kind) noexcept
    {
        return m_links[static_cast<std::size_t>(kind)];
    }

    std::mutex m_lock;
    std::array<std::shared_ptr<Link>, 2> m_links;
};

} // namespace

class ProcessControl
{
public:
    ProcessControl(std::shared_ptr<Link> link, std::uint64_t number, Win32Handle channel, Win32Handle process) noexcept
        : m_link(std::move(link)), m_number(number), m_channel(std::move(channel)), m_process(std::move(process))
    {
    }

    bool IsOf(RawHandle process) const
    {
        if (Raw::IsSameObject(m_process.GetRawHandle(), process))
        {
            return true;
        }
        // Containers often forbid to compare descriptors.
        const int number = ProcessOf(DescriptorOf(m_process));
        return number != 0 && number == ProcessOf(Raw::DescriptorOf(process));
    }

    bool HasEnded() const noexcept
    {
        return IsReadable(DescriptorOf(m_process), 0);
    }

    bool Tell(Keeper::RequestKind kind, std::span<const int> descriptors) const noexcept
    {
        Keeper::RequestHeader header;
        header.kind = kind;
        header.child = m_number;
        return Send(m_link->Socket(), {reinterpret_cast<const char*>(&header), sizeof header}, descriptors);
    }

    /// 259 while the process runs.
    std::uint32_t ExitCode() noexcept
    {
        if (!m_exitCode)
        {
            // The keeper tells the code right after the end; whoever sees the one waits for the other.
            const bool hasEnded = HasEnded();
            Win32Handle none;
            if (const std::optional<Keeper::Reply> reply = Receive(DescriptorOf(m_channel), hasEnded, none))
            {
                m_exitCode = reply->value;
            }
            else if (errno == ECONNRESET)
            {
                // With the keeper went its children.
                constexpr std::uint32_t Killed = 128 + SIGKILL;
                m_exitCode = Killed;
            }
        }
        return m_exitCode.value_or(Platform::ErrorCode::StillActive);
    }

    std::uint32_t processId = 0;
    bool hasOwnGroup = false;

private:
    std::shared_ptr<Link> m_link;
    std::uint64_t m_number;
    Win32Handle m_channel;
    /// A handle of its own, by which those of others are known again.
    Win32Handle m_process;
    std::optional<std::uint32_t> m_exitCode;
};

namespace
{

/// The children that somebody still holds.
class KnownProcesses
{
public:
    static KnownProcesses& Get()
    {
        static auto& s_known = *new KnownProcesses;
        return s_known;
    }

    void Add(const std::shared_ptr<ProcessControl>& control)
    {
        const std::scoped_lock hold(m_lock);
        std::erase_if(m_known, [](const auto& other) { return other.expired(); });
        m_known.push_back(control);
    }

    template <typename Predicate>
    std::shared_ptr<ProcessControl> Find(Predicate matches)
    {
        const std::scoped_lock hold(m_lock);
        for (const std::weak_ptr<ProcessControl>& weak : m_known)
        {
            if (std::shared_ptr<ProcessControl> control = weak.lock(); control != nullptr && matches(*control))
            {
                return control;
            }
        }
        return nullptr;
    }

private:
    std::mutex m_lock;
    std::vector<std::weak_ptr<ProcessControl>> m_known;
};

void AppendTexts(std::string& packet, std::span<const std::string> texts)
{
    for (const std::string& text : texts)
    {
        packet.append(text).push_back('\0');
    }
}

/// The packet of a start; empty when it is beyond the keeper's limits.
std::string MakePacket(const KeptProcess& process, std::uint64_t number)
{
    if (process.arguments.size() > Keeper::MostTexts || process.environment.size() > Keeper::MostTexts ||
        process.inherited.size() > Keeper::MostInherited)
    {
        return {};
    }
    Keeper::StartRequest request;
    request.header.kind = Keeper::RequestKind::Start;
    request.header.child = number;
    request.identity = process.identity;
    request.hasOwnGroup = process.hasOwnGroup ? 1 : 0;
    request.isInJob = process.job != nullptr ? 1 : 0;
    request.hasRuleset = process.ruleset >= 0 ? 1 : 0;
    request.argumentCount = static_cast<std::uint32_t>(process.arguments.size());
    request.environmentCount = static_cast<std::uint32_t>(process.environment.size());
    request.inheritedCount = static_cast<std::uint32_t>(process.inherited.size());
    std::copy(process.inherited.begin(), process.inherited.end(), request.inherited.begin());

    std::string packet(reinterpret_cast<const char*>(&request), sizeof request);
    AppendTexts(packet, std::array{process.program, process.workingDirectory});
    AppendTexts(packet, process.arguments);
    AppendTexts(packet, process.environment);
    return packet.size() > Keeper::LongestRequest ? std::string() : packet;
}

/// The pipe of a job for reading alone, by which its end is seen.
Win32Handle OpenJobLine(RawHandle job)
{
    const std::string path = fmt::format("/proc/self/fd/{}", Raw::DescriptorOf(job));
    return Win32Handle(Raw::FromDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)));
}

StartedProcess Failed(int error) noexcept
{
    StartedProcess result;
    result.error = static_cast<std::uint32_t>(error);
    return result;
}

constexpr std::array StepNames = {
    "its preparation", "its descriptors", "its working directory", "its identity", "its program"};

StartedProcess FailedAt(const KeptProcess& process, const Keeper::Reply& reply)
{
    const auto step = static_cast<std::size_t>(reply.step);
    Log::Debug(
        "The child process {} in {} was not started because of {}: error code {}", process.program,
        process.workingDirectory, step < StepNames.size() ? StepNames[step] : "something", reply.value);
    return Failed(static_cast<int>(reply.value));
}

/// Sends the packet and makes what the keeper answers to it. The error ECONNRESET or EPIPE is that of a keeper that is
/// gone.
StartedProcess Ask(
    const std::shared_ptr<Link>& link,
    const KeptProcess& process,
    std::uint64_t number,
    const std::string& packet,
    const Win32Handle& jobLine)
{
    std::array<Win32Handle, 2> channel = MakeSockets();
    if (!channel[0].IsValid())
    {
        return Failed(errno);
    }
    std::vector<int> descriptors = {DescriptorOf(channel[1]), process.input, process.output, process.errors};
    if (jobLine.IsValid())
    {
        descriptors.push_back(DescriptorOf(jobLine));
    }
    if (process.ruleset >= 0)
    {
        descriptors.push_back(process.ruleset);
    }
    descriptors.insert(descriptors.end(), process.inherited.begin(), process.inherited.end());
    if (!Send(link->Socket(), packet, descriptors))
    {
        return Failed(errno);
    }
    channel[1].Close();

    Win32Handle handle;
    const std::optional<Keeper::Reply> reply = Receive(DescriptorOf(channel[0]), true, handle);
    if (!reply)
    {
        return Failed(errno);
    }
    if (reply->kind != Keeper::ReplyKind::Started)
    {
        return reply->kind == Keeper::ReplyKind::Failed ? FailedAt(process, *reply) : Failed(EPROTO);
    }
    Win32Handle known(Raw::DuplicateHandle(handle.GetRawHandle()));
    if (!known.IsValid())
    {
        // There was no descriptor left for one of the two handles, and what nobody holds must not run.
        ::kill(static_cast<pid_t>(reply->value), SIGKILL);
        return Failed(EMFILE);
    }
    StartedProcess result;
    result.control = std::make_shared<ProcessControl>(link, number, std::move(channel[0]), std::move(known));
    result.control->processId = reply->value;
    result.control->hasOwnGroup = process.hasOwnGroup;
    result.process = std::move(handle);
    result.processId = reply->value;
    result.threadId = reply->value;
    KnownProcesses::Get().Add(result.control);
    return result;
}

} // namespace

StartedProcess StartKept(const KeptProcess& process)
{
    static std::atomic<std::uint64_t> s_lastNumber{0};
    const std::uint64_t number = ++s_lastNumber;
    const std::string packet = MakePacket(process, number);
    if (packet.empty())
    {
        return Failed(E2BIG);
    }
    Win32Handle jobLine;
    if (process.job != nullptr)
    {
        jobLine = OpenJobLine(process.job);
        if (!jobLine.IsValid())
        {
            return Failed(errno);
        }
    }
    const Keeper::Kind kind = process.identity.isRestricted != 0 ? Keeper::Kind::Restricted : Keeper::Kind::Plain;
    const std::shared_ptr<Link> link = Links::Get().Find(kind);
    if (link == nullptr)
    {
        return Failed(errno);
    }
    StartedProcess result = Ask(link, process, number, packet, jobLine);
    if (result.error == ECONNRESET || result.error == EPIPE)
    {
        // Somebody has ended the keeper. Another one takes its place.
        Links::Get().Forget(kind, link);
        const std::shared_ptr<Link> other = Links::Get().Find(kind);
        result = other == nullptr ? Failed(errno) : Ask(other, process, number, packet, jobLine);
    }
    return result;
}

std::shared_ptr<ProcessControl> FindProcess(RawHandle process)
{
    return KnownProcesses::Get().Find([process](const ProcessControl& control) { return control.IsOf(process); });
}

bool AddToJob(const ProcessControl& control, RawHandle job)
{
    const Win32Handle line = OpenJobLine(job);
    if (!line.IsValid())
    {
        return false;
    }
    const std::array descriptors = {DescriptorOf(line)};
    return control.Tell(Keeper::RequestKind::AddToJob, descriptors) || control.HasEnded();
}

std::uint32_t QueryExitCode(RawHandle process, ProcessControl* control, std::uint32_t& code) noexcept
{
    if (process == nullptr || control == nullptr)
    {
        return EBADF;
    }
    code = control->ExitCode();
    return 0;
}

bool EndProcess(RawHandle process) noexcept
{
    return ::syscall(SYS_pidfd_send_signal, Raw::DescriptorOf(process), SIGKILL, nullptr, 0) == 0;
}

bool BreakGroup(std::uint32_t processId) noexcept
{
    try
    {
        const std::shared_ptr<ProcessControl> control = KnownProcesses::Get().Find(
            [processId](const ProcessControl& other)
            { return other.processId == processId && other.hasOwnGroup && !other.HasEnded(); });
        return control != nullptr && control->Tell(Keeper::RequestKind::Interrupt, {});
    }
    catch (const std::exception&)
    {
        return false;
    }
}

} // namespace Shared::Concurrency::Native
