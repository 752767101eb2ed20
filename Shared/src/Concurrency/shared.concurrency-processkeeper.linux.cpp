#include "shared.concurrency-processkeeper.linux.hpp"

#include "shared.concurrency-processlaunch.linux.hpp"
#include "shared.concurrency-processpackets.linux.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <span>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

// How everything that a child leaves behind is found again, without any right: the keeper is a subreaper, so whoever
// loses its parent becomes its child. Each child is made a subreaper too, so while it lives, what comes of it stays
// below it; what the keeper itself inherits comes from the process that it has just seen end. Who ends the parents
// first and looks again, until there is nobody, misses none.

namespace Shared::Concurrency::Native::Keeper
{

namespace
{

/// Of the keeper; all lower ones are standard streams that lead nowhere.
constexpr int ControlDescriptor = 3;

constexpr std::uint64_t Nobodys = 0;

template <typename Item, std::size_t Capacity>
class FixedList
{
public:
    bool IsFull() const noexcept
    {
        return m_count == Capacity;
    }

    /// Only while not full.
    void Add(const Item& item) noexcept
    {
        m_items[m_count++] = item;
    }

    /// The last one takes its place.
    void RemoveAt(std::size_t index) noexcept
    {
        m_items[index] = m_items[--m_count];
    }

    std::span<Item> All() noexcept
    {
        return {m_items.data(), m_count};
    }

    template <typename Predicate>
    Item* Find(Predicate matches) noexcept
    {
        const auto all = All();
        const auto found = std::find_if(all.begin(), all.end(), matches);
        return found == all.end() ? nullptr : &*found;
    }

private:
    std::array<Item, Capacity> m_items{};
    std::size_t m_count = 0;
};

struct Child
{
    std::uint64_t id = Nobodys;
    pid_t process = 0;
    int channel = -1;
    bool hasOwnGroup = false;
    bool hasEnded = false;
    bool isToEnd = false;
};

/// Somebody whose parent has ended.
struct Orphan
{
    pid_t process = 0;
    std::uint64_t owner = Nobodys;
};

struct JobLine
{
    int descriptor = -1;
    std::uint64_t child = Nobodys;
};

std::uint32_t ToExitCode(int status) noexcept
{
    constexpr int SignalBase = 128;
    return static_cast<std::uint32_t>(WIFSIGNALED(status) ? SignalBase + WTERMSIG(status) : WEXITSTATUS(status));
}

/// Calls `visit` with each child of this process, ended ones among them. @param list the kernel's file of them. False
/// when the kernel does not tell.
template <typename Visit>
bool ForEachChild(int list, Visit visit) noexcept
{
    if (::lseek(list, 0, SEEK_SET) != 0)
    {
        return false;
    }
    std::array<char, 4096> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): only read into
    pid_t number = 0;
    ssize_t count = 0;
    while ((count = ::read(list, buffer.data(), buffer.size())) > 0)
    {
        for (const char character : std::span(buffer.data(), static_cast<std::size_t>(count)))
        {
            if (character >= '0' && character <= '9')
            {
                number = number * 10 + (character - '0');
            }
            else if (number > 0)
            {
                visit(number);
                number = 0;
            }
        }
    }
    return count == 0;
}

/// Everything that a keeper knows. Of static storage: it is large, and costs nothing until it is written to.
class ChildKeeper
{
public:
    [[noreturn]] void Run(int control, Kind kind) noexcept
    {
        Detach(control);
        m_self = ::getpid();
        m_startError = kind == Kind::Restricted ? Security::RestrictDescendants() : 0;
        while (true)
        {
            AwaitAndAct();
        }
    }

private:
    /// Nothing of the agent is to be held by this process but the socket.
    void Detach(int control) noexcept
    {
        sigset_t all;
        ::sigfillset(&all);
        ::sigprocmask(SIG_SETMASK, &all, nullptr);
        // An ignored signal would stay ignored in the children.
        struct sigaction standard = {};
        standard.sa_handler = SIG_DFL;
        for (int signal = 1; signal < NSIG; ++signal)
        {
            (void)::sigaction(signal, &standard, nullptr);
        }
        ::setsid();
        (void)!::chdir("/");
        ::prctl(PR_SET_NAME, "vel-children", 0, 0, 0);
        // What the agent's memory held at the split is nobody's to look at, neither in a core file.
        ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
        ::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
        KeepOnly(control);
        sigset_t ended;
        ::sigemptyset(&ended);
        ::sigaddset(&ended, SIGCHLD);
        m_endSignal = ::signalfd(-1, &ended, SFD_CLOEXEC | SFD_NONBLOCK);
        // Now, as there may be no descriptor left when it is needed most.
        m_childList = ::open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC);
    }

    static void KeepOnly(int control) noexcept
    {
        if (control != ControlDescriptor)
        {
            ::dup3(control, ControlDescriptor, O_CLOEXEC);
        }
        if (::syscall(SYS_close_range, ControlDescriptor + 1, UINT_MAX, 0) != 0)
        {
            const long most = ::sysconf(_SC_OPEN_MAX);
            for (int descriptor = ControlDescriptor + 1; descriptor < most; ++descriptor)
            {
                ::close(descriptor);
            }
        }
        const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        for (int stream = 0; stream < ControlDescriptor; ++stream)
        {
            ::dup2(nowhere, stream);
        }
        // An agent without standard streams leaves their numbers free, so it may have got one of these.
        if (nowhere > ControlDescriptor)
        {
            ::close(nowhere);
        }
    }

    void AwaitAndAct() noexcept
    {
        m_polled[0] = {ControlDescriptor, POLLIN, 0};
        m_polled[1] = {m_endSignal, POLLIN, 0};
        const std::span<JobLine> lines = m_jobLines.All();
        for (std::size_t i = 0; i < lines.size(); ++i)
        {
            // Not for its content, which always can be read, but for its end.
            m_polled[2 + i] = {lines[i].descriptor, 0, 0};
        }
        const std::size_t lineCount = lines.size();
        if (::poll(m_polled.data(), 2 + lineCount, -1) <= 0)
        {
            return;
        }
        // Jobs first, and from the last one on, as what is removed is replaced by the last one.
        for (std::size_t i = lineCount; i-- > 0;)
        {
            if (m_polled[2 + i].revents != 0)
            {
                EndJob(i);
            }
        }
        if (m_polled[1].revents != 0)
        {
            CollectEnded();
        }
        if (m_polled[0].revents != 0)
        {
            ReceiveRequest();
        }
    }

    // --- Requests

    void ReceiveRequest() noexcept
    {
        Descriptors descriptors;
        const ssize_t size = ReceivePacket(ControlDescriptor, m_packet, descriptors);
        if (size == 0 || (size < 0 && errno != EINTR && errno != EAGAIN))
        {
            EndEverything();
        }
        if (size < static_cast<ssize_t>(sizeof(RequestHeader)))
        {
            return;
        }
        RequestHeader header;
        std::memcpy(&header, m_packet.data(), sizeof header);
        switch (header.kind)
        {
        case RequestKind::Start:
            StartChild(static_cast<std::size_t>(size), descriptors);
            break;
        case RequestKind::Interrupt:
            InterruptGroup(header.child);
            break;
        case RequestKind::AddToJob:
            AddJobLine(header.child, descriptors.Take());
            break;
        }
    }

    void StartChild(std::size_t size, Descriptors& descriptors) noexcept
    {
        const int channel = descriptors.Take();
        if (channel < 0)
        {
            return;
        }
        const Failure failure = TryStart(size, descriptors, channel);
        if (failure.error != 0)
        {
            AnswerFailure(channel, failure.step, failure.error);
            ::close(channel);
        }
    }

    Failure TryStart(std::size_t size, Descriptors& descriptors, int channel) noexcept
    {
        if (m_startError != 0)
        {
            return {StartStep::Identity, m_startError};
        }
        if (m_children.IsFull() || m_jobLines.IsFull())
        {
            return {StartStep::Request, EAGAIN};
        }
        if (descriptors.AreCutOff())
        {
            return {StartStep::Descriptors, EMFILE};
        }
        const auto* const request = reinterpret_cast<const StartRequest*>(m_packet.data());
        Launch launch;
        launch.request = request;
        launch.input = descriptors.Borrow();
        launch.output = descriptors.Borrow();
        launch.errors = descriptors.Borrow();
        if (size < sizeof *request || !ReadTexts(size, launch) || launch.errors < 0 ||
            request->identity.groupCount > Security::Identity::MostGroups || !IsNew(request->header.child))
        {
            return {StartStep::Request, EINVAL};
        }
        const int jobLine = request->isInJob != 0 ? descriptors.Take() : -1;
        launch.ruleset = request->hasRuleset != 0 ? descriptors.Borrow() : -1;
        Failure failure = {StartStep::Request, EINVAL};
        if (TakeInherited(launch, descriptors) && (jobLine >= 0) == (request->isInJob != 0) &&
            (launch.ruleset >= 0) == (request->hasRuleset != 0))
        {
            failure = StartProgram(launch, descriptors, channel);
        }
        if (failure.error != 0 || jobLine < 0)
        {
            ::close(jobLine);
            return failure;
        }
        m_jobLines.Add({jobLine, request->header.child});
        return {};
    }

    bool IsNew(std::uint64_t id) noexcept
    {
        return id != Nobodys && FindChild(id) == nullptr;
    }

    /// Finds the texts behind the request, each ended by a null inside of the packet.
    bool ReadTexts(std::size_t size, Launch& launch) noexcept
    {
        char* next = m_packet.data() + sizeof(StartRequest);
        const char* const end = m_packet.data() + size;
        const auto read = [&next, end]() noexcept -> char*
        {
            char* const text = next;
            auto* const null = static_cast<char*>(std::memchr(next, '\0', static_cast<std::size_t>(end - next)));
            next = null == nullptr ? next : null + 1;
            return null == nullptr ? nullptr : text;
        };
        const auto readAll = [&read](std::uint32_t count, std::array<char*, MostTexts + 1>& texts) noexcept
        {
            for (std::uint32_t i = 0; i < count; ++i)
            {
                texts[i] = i < MostTexts ? read() : nullptr;
                if (texts[i] == nullptr)
                {
                    return false;
                }
            }
            texts[count] = nullptr;
            return true;
        };
        launch.program = read();
        launch.folder = launch.program == nullptr ? nullptr : read();
        launch.arguments = m_arguments.data();
        launch.environment = m_environment.data();
        return launch.folder != nullptr && launch.request->argumentCount > 0 &&
            readAll(launch.request->argumentCount, m_arguments) &&
            readAll(launch.request->environmentCount, m_environment);
    }

    static bool TakeInherited(Launch& launch, Descriptors& descriptors) noexcept
    {
        const std::uint32_t count = launch.request->inheritedCount;
        if (count > MostInherited || descriptors.Left() < count)
        {
            return false;
        }
        for (std::uint32_t i = 0; i < count; ++i)
        {
            launch.inherited[i] = descriptors.Borrow();
            if (launch.request->inherited[i] <= STDERR_FILENO || launch.request->inherited[i] == INT_MAX)
            {
                return false;
            }
        }
        return true;
    }

    /// On success the child is known and its first answer given.
    Failure StartProgram(Launch& launch, Descriptors& descriptors, int channel) noexcept
    {
        launch.keeper = m_self;
        const Launched launched = LaunchProgram(launch, descriptors);
        if (launched.process > 0)
        {
            Introduce(*launch.request, launched.process, channel);
        }
        return launched.failure;
    }

    /// Makes the child known, here and to whoever asked for it.
    void Introduce(const StartRequest& request, pid_t process, int channel) noexcept
    {
        m_children.Add({request.header.child, process, channel, request.hasOwnGroup != 0});
        const int handle = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
        const int error = handle < 0 ? errno : 0;
        const Reply started = {ReplyKind::Started, static_cast<std::uint32_t>(process), StartStep::Program};
        const bool isHeard = handle >= 0 && Answer(channel, started, handle);
        if (handle >= 0)
        {
            ::close(handle);
        }
        else
        {
            AnswerFailure(channel, StartStep::Request, error);
        }
        if (!isHeard)
        {
            // Whoever asked has no handle or has given up, so nobody could ever end it.
            EndChild(request.header.child);
        }
    }

    void InterruptGroup(std::uint64_t id) noexcept
    {
        const Child* const child = FindChild(id);
        if (child != nullptr && child->hasOwnGroup && !child->hasEnded)
        {
            ::kill(-child->process, SIGINT);
        }
    }

    void AddJobLine(std::uint64_t id, int line) noexcept
    {
        if (line >= 0 && FindChild(id) != nullptr && !m_jobLines.IsFull())
        {
            m_jobLines.Add({line, id});
        }
        else
        {
            ::close(line);
        }
    }

    // --- Ends

    /// The last handle of the job is closed.
    void EndJob(std::size_t index) noexcept
    {
        const JobLine line = m_jobLines.All()[index];
        int marks = 0;
        const bool isToKill = ::ioctl(line.descriptor, FIONREAD, &marks) == 0 && marks > 0;
        ::close(line.descriptor);
        m_jobLines.RemoveAt(index);
        if (isToKill)
        {
            EndChild(line.child);
        }
    }

    /// Ends a child and what it has left behind. What is below it comes up when it has ended, and is ended then.
    void EndChild(std::uint64_t id) noexcept
    {
        Child* const child = FindChild(id);
        if (child == nullptr)
        {
            return;
        }
        child->isToEnd = true;
        if (!child->hasEnded)
        {
            ::kill(child->process, SIGKILL);
        }
        for (const Orphan& orphan : m_orphans.All())
        {
            if (orphan.owner == id)
            {
                ::kill(orphan.process, SIGKILL);
            }
        }
    }

    void CollectEnded() noexcept
    {
        std::array<signalfd_siginfo, 8> signals; // NOLINT(cppcoreguidelines-pro-type-member-init): only read into
        while (::read(m_endSignal, signals.data(), sizeof signals) > 0)
        {
        }
        int status = 0;
        for (pid_t process = 0; (process = ::waitpid(-1, &status, WNOHANG)) > 0;)
        {
            const std::uint64_t owner = NoteEnd(process, ToExitCode(status));
            AdoptOrphans(owner);
            ForgetIfOver(owner);
        }
    }

    /// Whose process it was.
    std::uint64_t NoteEnd(pid_t process, std::uint32_t exitCode) noexcept
    {
        Child* const child = m_children.Find([process](const Child& other) noexcept
                                             { return other.process == process && !other.hasEnded; });
        if (child != nullptr)
        {
            child->hasEnded = true;
            (void)Answer(child->channel, {ReplyKind::Ended, exitCode, StartStep::Program}, -1);
            ::close(child->channel);
            return child->id;
        }
        const Orphan* const orphan =
            m_orphans.Find([process](const Orphan& other) noexcept { return other.process == process; });
        if (orphan == nullptr)
        {
            return Nobodys;
        }
        const std::uint64_t owner = orphan->owner;
        m_orphans.RemoveAt(static_cast<std::size_t>(orphan - m_orphans.All().data()));
        return owner;
    }

    /// Takes in those who have become children of the keeper because their parent has ended. Nobody leaves the kernel's
    /// list while it is read, as only we take notice of ends.
    /// @param owner whose they are if their session does not tell: of the process that was last seen to end.
    void AdoptOrphans(std::uint64_t owner) noexcept
    {
        (void)ForEachChild(
            m_childList,
            [this, owner](pid_t process) noexcept
            {
                if (!IsKnown(process))
                {
                    Adopt(process, owner);
                }
            });
    }

    bool IsKnown(pid_t process) noexcept
    {
        return m_children.Find([process](const Child& child) noexcept
                               { return child.process == process && !child.hasEnded; }) != nullptr ||
            m_orphans.Find([process](const Orphan& orphan) noexcept { return orphan.process == process; }) != nullptr;
    }

    void Adopt(pid_t process, std::uint64_t owner) noexcept
    {
        const pid_t session = ::getsid(process);
        if (const Child* const leader =
                m_children.Find([session](const Child& child) noexcept { return child.process == session; }))
        {
            owner = leader->id;
        }
        // One of whom nobody can say to which child it belongs has gone out of its way to hide it.
        const Child* const child = FindChild(owner);
        if (m_orphans.IsFull() || child == nullptr || child->isToEnd)
        {
            ::kill(process, SIGKILL);
        }
        if (!m_orphans.IsFull())
        {
            m_orphans.Add({process, owner});
        }
    }

    /// A child that has ended is kept as long as there is somebody of it whom its job could end.
    void ForgetIfOver(std::uint64_t id) noexcept
    {
        Child* const child = FindChild(id);
        if (child == nullptr || !child->hasEnded ||
            m_orphans.Find([id](const Orphan& orphan) noexcept { return orphan.owner == id; }) != nullptr)
        {
            return;
        }
        m_children.RemoveAt(static_cast<std::size_t>(child - m_children.All().data()));
        for (std::size_t i = m_jobLines.All().size(); i-- > 0;)
        {
            if (m_jobLines.All()[i].child == id)
            {
                ::close(m_jobLines.All()[i].descriptor);
                m_jobLines.RemoveAt(i);
            }
        }
    }

    /// The agent is gone.
    [[noreturn]] void EndEverything() noexcept
    {
        while (true)
        {
            const bool areTold = ForEachChild(m_childList, [](pid_t process) noexcept { ::kill(process, SIGKILL); });
            if (!areTold)
            {
                EndThoseKnown();
                ::_exit(0);
            }
            // Whoever ends hands its children up to us, so there is somebody to look for again.
            if (::waitpid(-1, nullptr, 0) < 0 && errno == ECHILD)
            {
                ::_exit(0);
            }
        }
    }

    void EndThoseKnown() noexcept
    {
        for (const Child& child : m_children.All())
        {
            if (!child.hasEnded)
            {
                ::kill(-child.process, SIGKILL);
            }
        }
    }

    Child* FindChild(std::uint64_t id) noexcept
    {
        return m_children.Find([id](const Child& child) noexcept { return child.id == id; });
    }

    pid_t m_self = 0;
    int m_endSignal = -1;
    /// The kernel's file of our children; -1 where it has none.
    int m_childList = -1;
    /// Why no child can be started as it should be; 0 for none.
    int m_startError = 0;
    FixedList<Child, MostChildren> m_children;
    FixedList<Orphan, MostOrphans> m_orphans;
    FixedList<JobLine, MostJobLines> m_jobLines;
    std::array<pollfd, MostJobLines + 2> m_polled{};
    std::array<char*, MostTexts + 1> m_arguments{};
    std::array<char*, MostTexts + 1> m_environment{};
    alignas(StartRequest) std::array<char, LongestRequest> m_packet{};
};

constinit ChildKeeper s_keeper;

} // namespace

void Run(int control, Kind kind) noexcept
{
    s_keeper.Run(control, kind);
}

} // namespace Shared::Concurrency::Native::Keeper
