#include "shared.ipc-nativepipe.hpp"

#include "shared.concurrency-overlappedthread.linux.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.ipc-pipeaccess.linux.hpp"
#include "shared.ipc-pipeconnection.linux.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.ipc-pipesocket.linux.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

namespace Shared::Ipc::Native
{

namespace
{

using Concurrency::OverlappedBlock;
using Concurrency::OverlappedThread;
namespace NtStatus = Concurrency::NtStatus;
namespace ErrorCode = Platform::ErrorCode;

/// Least time for a living server's greeting, whatever the client's time limit.
constexpr std::uint32_t GreetingTimeoutMs = 1000;
/// Between two attempts at a pipe that somebody else has.
constexpr std::chrono::milliseconds RetryPause{10};

/// What both ends do with their connection, once there is one.
class ConnectedEnd : public PipeEnd
{
public:
    std::uint32_t StartRead(const BlockPointer& block) override
    {
        const auto connection = GetConnection();
        return connection == nullptr ? GetMissingCode() : connection->StartRead(block);
    }

    std::uint32_t StartWrite(const BlockPointer& block) override
    {
        const auto connection = GetConnection();
        return connection == nullptr ? GetMissingCode() : connection->StartWrite(block);
    }

    std::uint32_t CountUnread(std::uint32_t& unread) override
    {
        const auto connection = GetConnection();
        return connection == nullptr ? GetMissingCode() : connection->CountUnread(unread);
    }

    std::uint32_t Cancel(OverlappedBlock& block) noexcept override
    {
        const auto connection = GetConnection();
        return connection != nullptr && connection->Cancel(block) ? ErrorCode::Success : ErrorCode::NotFound;
    }

    void BringUpToDate(OverlappedBlock& /*block*/) noexcept override
    {
        if (const auto connection = GetConnection())
        {
            connection->BringUpToDate();
        }
    }

    void OnEventGiven() noexcept override
    {
        if (const auto connection = GetConnection())
        {
            connection->OnEventGiven();
        }
    }

    bool AwaitEnd(OverlappedBlock& block, std::uint32_t timeoutMs) override
    {
        const auto connection = GetConnection();
        return connection != nullptr ? connection->AwaitEnd(block, timeoutMs) : PipeEnd::AwaitEnd(block, timeoutMs);
    }

    void CancelAll() noexcept override
    {
        if (const auto connection = GetConnection())
        {
            connection->CancelAll();
        }
    }

protected:
    virtual std::shared_ptr<PipeConnection> GetConnection() const noexcept = 0;
    /// Why there is none.
    virtual std::uint32_t GetMissingCode() const noexcept = 0;
};

/// The listening socket of a server, and who has come through it. The completion thread has a share of it.
class Reception final : public Concurrency::ReadyHandler
{
public:
    Reception(const Raii::Win32Handle& listener, PipeAccess access, OverlappedThread& thread)
        : m_listener(Raii::Native::DescriptorOf(listener.GetRawHandle())), m_access(std::move(access)), e_thread(thread)
    {
    }

    std::uint32_t StartConnect(const BlockPointer& block)
    {
        // Who came before this call is here, also when the completion thread has not got to it yet.
        OnReady();
        const std::scoped_lock hold(m_lock);
        if (m_connection != nullptr)
        {
            return m_connection->HasPeerLeft() ? ErrorCode::NoData : ErrorCode::PipeConnected;
        }
        m_connects.push_back(block);
        block->Begin();
        m_state = State::Open;
        return ErrorCode::IoPending;
    }

    void OnReady() noexcept override
    {
        bool isConnected = false;
        {
            const std::scoped_lock hold(m_lock);
            AcceptAll();
            isConnected = m_connection != nullptr;
        }
        if (isConnected)
        {
            EndConnects(NtStatus::Success);
        }
    }

    std::shared_ptr<PipeConnection> GetConnection() const noexcept
    {
        const std::scoped_lock hold(m_lock);
        return m_connection;
    }

    bool IsOpen() const noexcept
    {
        const std::scoped_lock hold(m_lock);
        return m_state == State::Open;
    }

    /// Ends one wait for a client, or any when null, with that status. False when there is none.
    bool EndConnect(const OverlappedBlock* block, std::uint32_t status) noexcept
    {
        BlockPointer ended;
        {
            const std::scoped_lock hold(m_lock);
            const auto isWanted = [block](const BlockPointer& waiting)
            {
                return block == nullptr || waiting.get() == block;
            };
            const auto found = std::ranges::find_if(m_connects, isWanted);
            if (found == m_connects.end())
            {
                return false;
            }
            ended = std::move(*found);
            m_connects.erase(found);
            ended->Finish(status, 0);
        }
        ended->Signal();
        return true;
    }

    void EndConnects(std::uint32_t status) noexcept
    {
        while (EndConnect(nullptr, status))
        {
        }
    }

    /// Lets the client go. Whoever comes before the next Connect is told that the server is busy.
    void Disconnect() noexcept
    {
        Leave(State::Disconnected, NtStatus::PipeDisconnected);
    }

    void Close() noexcept
    {
        Leave(State::Closed, NtStatus::Cancelled);
    }

private:
    enum class State : std::uint8_t
    {
        /// A client may come: since the pipe was made, or since Connect.
        Open,
        Disconnected,
        /// The listening socket is not to be touched any more.
        Closed
    };

    /// Under m_lock.
    void AcceptAll() noexcept
    {
        while (m_state != State::Closed)
        {
            Raii::Win32Handle socket(
                Raii::Native::FromDescriptor(::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)));
            if (socket.IsValid())
            {
                Receive(std::move(socket));
            }
            else if (errno != EINTR && errno != ECONNABORTED)
            {
                return;
            }
        }
    }

    /// Somebody has come. Under m_lock.
    void Receive(Raii::Win32Handle socket) noexcept
    {
        const int descriptor = Raii::Native::DescriptorOf(socket.GetRawHandle());
        uid_t user = 0;
        if (!ReadPeer(descriptor, user) || !m_access.Admits(user))
        {
            SendGreeting(descriptor, Greeting::Denied);
        }
        else if (m_connection != nullptr || m_state != State::Open)
        {
            SendGreeting(descriptor, Greeting::Busy);
        }
        else
        {
            Admit(std::move(socket), descriptor);
        }
    }

    /// Under m_lock.
    void Admit(Raii::Win32Handle socket, int descriptor) noexcept
    {
        try
        {
            auto connection = std::make_shared<PipeConnection>(std::move(socket), &e_thread);
            e_thread.Attach(descriptor, connection, Concurrency::Readiness::Nothing);
            SendGreeting(descriptor, Greeting::Welcome);
            m_connection = std::move(connection);
        }
        catch (const std::exception&)
        {
            // For lack of memory, or of room to watch one more descriptor: the client sees that it is not wanted now.
        }
    }

    void Leave(State state, std::uint32_t status) noexcept
    {
        std::shared_ptr<PipeConnection> left;
        {
            const std::scoped_lock hold(m_lock);
            m_state = state;
            left = std::move(m_connection);
        }
        if (left != nullptr)
        {
            left->End(status);
        }
        EndConnects(status);
    }

    const int m_listener;
    const PipeAccess m_access;
    OverlappedThread& e_thread;
    mutable std::mutex m_lock;
    // All below are under m_lock.
    State m_state = State::Open;
    std::shared_ptr<PipeConnection> m_connection;
    std::vector<BlockPointer> m_connects;
};

class ServerEnd final : public ConnectedEnd
{
public:
    ServerEnd(ListeningSocket& listening, PipeAccess access)
        : m_handle(listening.handle.GetRawHandle()),
          m_path(std::move(listening.path)),
          m_thread(OverlappedThread::Acquire()),
          m_reception(std::make_shared<Reception>(listening.handle, std::move(access), *m_thread))
    {
    }

    ServerEnd(const ServerEnd&) = delete;
    ServerEnd& operator=(const ServerEnd&) = delete;

    ~ServerEnd() override
    {
        Close();
    }

    void Open()
    {
        m_thread->Attach(Raii::Native::DescriptorOf(m_handle), m_reception, Concurrency::Readiness::Readable);
    }

    Raii::RawHandle GetSourceHandle() const noexcept override
    {
        return m_handle;
    }

    std::uint32_t StartConnect(const BlockPointer& block) override
    {
        return m_reception->StartConnect(block);
    }

    std::uint32_t Cancel(OverlappedBlock& block) noexcept override
    {
        return m_reception->EndConnect(&block, NtStatus::Cancelled) ? ErrorCode::Success : ConnectedEnd::Cancel(block);
    }

    void CancelAll() noexcept override
    {
        m_reception->EndConnects(NtStatus::Cancelled);
        ConnectedEnd::CancelAll();
    }

    void Disconnect() noexcept override
    {
        m_reception->Disconnect();
    }

    void Close() noexcept override
    {
        if (m_thread != nullptr)
        {
            (void)::unlink(m_path.c_str());
            m_thread->Detach(Raii::Native::DescriptorOf(m_handle));
            m_reception->Close();
            m_thread.reset();
        }
    }

protected:
    std::shared_ptr<PipeConnection> GetConnection() const noexcept override
    {
        return m_reception->GetConnection();
    }

    std::uint32_t GetMissingCode() const noexcept override
    {
        return m_reception->IsOpen() ? ErrorCode::PipeListening : ErrorCode::PipeNotConnected;
    }

private:
    /// The listening socket's; owned by the pipe.
    Raii::RawHandle m_handle;
    std::string m_path;
    /// Null once closed. Not with the reception, which the thread itself may be the last to hold.
    std::shared_ptr<OverlappedThread> m_thread;
    std::shared_ptr<Reception> m_reception;
};

class ClientEnd final : public ConnectedEnd
{
public:
    explicit ClientEnd(const Raii::Win32Handle& socket)
        : m_handle(socket.GetRawHandle()),
          m_thread(OverlappedThread::Acquire()),
          // The socket itself may have to outlive the pipe's handle, by as long as the completion thread looks at it.
          m_connection(std::make_shared<PipeConnection>(socket.Duplicate(), m_thread.get()))
    {
        m_thread->Attach(m_connection->GetDescriptor(), m_connection, Concurrency::Readiness::Nothing);
    }

    ClientEnd(const ClientEnd&) = delete;
    ClientEnd& operator=(const ClientEnd&) = delete;

    ~ClientEnd() override
    {
        Close();
    }

    Raii::RawHandle GetSourceHandle() const noexcept override
    {
        return m_handle;
    }

    std::uint32_t StartConnect(const BlockPointer& /*block*/) override
    {
        return ErrorCode::PipeConnected;
    }

    void Disconnect() noexcept override
    {
    }

    void Close() noexcept override
    {
        if (m_thread != nullptr)
        {
            m_connection->End(NtStatus::Cancelled);
            m_thread.reset();
        }
    }

protected:
    std::shared_ptr<PipeConnection> GetConnection() const noexcept override
    {
        return m_connection;
    }

    std::uint32_t GetMissingCode() const noexcept override
    {
        return ErrorCode::PipeNotConnected;
    }

private:
    Raii::RawHandle m_handle;
    std::shared_ptr<OverlappedThread> m_thread;
    std::shared_ptr<PipeConnection> m_connection;
};

[[noreturn]] void ThrowNotMade(std::uint32_t code)
{
    throw PipeIoException("Failed to create named pipe", code);
}

[[noreturn]] void ThrowNotOpened(std::uint32_t code)
{
    throw PipeIoException("Failed to open named pipe", code);
}

} // namespace

NewPipe CreateServerPipe(const ServerRequest& request)
{
    std::optional<PipeAccess> access = PipeAccess::FromDescriptor(request.securityDescriptor);
    if (!access)
    {
        throw Exception::Win32Exception("Failed to convert security descriptor", EINVAL);
    }
    ListeningSocket listening;
    if (const std::uint32_t code = ListenForPipe(request.name, *access, listening); code != ErrorCode::Success)
    {
        ThrowNotMade(code);
    }
    (void)Raii::Native::ChangeInheritability(listening.handle.GetRawHandle(), request.inheritable);
    const auto end = std::make_shared<ServerEnd>(listening, *std::move(access));
    try
    {
        end->Open();
    }
    catch (const Exception::Win32Exception& exception)
    {
        ThrowNotMade(exception.GetCode());
    }
    return {std::move(listening.handle), end};
}

NewPipe OpenClientPipe(const std::wstring& name, std::uint32_t timeoutMs)
{
    const Time::MonotonicTime start = Time::MonotonicNow();
    while (true)
    {
        const auto passed = std::chrono::floor<std::chrono::milliseconds>(Time::MonotonicNow() - start).count();
        const auto leftMs = static_cast<std::uint32_t>(std::max<std::int64_t>(0, timeoutMs - passed));
        Raii::Win32Handle socket;
        const std::uint32_t code = ConnectToPipe(name, std::max(leftMs, GreetingTimeoutMs), socket);
        if (code == ErrorCode::Success)
        {
            const auto end = std::make_shared<ClientEnd>(socket);
            return {std::move(socket), end};
        }
        if (code != ErrorCode::PipeBusy || leftMs == 0)
        {
            ThrowNotOpened(code);
        }
        Time::SleepFor(RetryPause);
    }
}

} // namespace Shared::Ipc::Native
