#include "shared.ipc-nativepipe.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "shared.platform-securitydescriptor.windows.hpp"
#include "shared.platform-windows.windows.hpp"

namespace Shared::Ipc::Native
{

namespace
{

using Concurrency::OverlappedBlock;
namespace ErrorCode = Platform::ErrorCode;

static_assert(offsetof(OVERLAPPED, Internal) == 0 && offsetof(OVERLAPPED, InternalHigh) == sizeof(void*));
static_assert(offsetof(OVERLAPPED, Offset) == 2 * sizeof(void*));
static_assert(offsetof(OVERLAPPED, hEvent) == 2 * sizeof(void*) + 8);

LPOVERLAPPED ToOverlapped(OverlappedBlock& block) noexcept
{
    return static_cast<LPOVERLAPPED>(block.GetSystemBlock());
}

bool IsPending(const BlockPointer& block) noexcept
{
    return block->GetStatus() == Concurrency::NtStatus::Pending;
}

/// One end of a named pipe of the system, which does everything; this only keeps what the system still writes to.
class WindowsEnd final : public PipeEnd
{
public:
    /// The handle is owned by the pipe.
    explicit WindowsEnd(Raii::RawHandle handle) noexcept : m_handle(handle)
    {
    }

    WindowsEnd(const WindowsEnd&) = delete;
    WindowsEnd& operator=(const WindowsEnd&) = delete;

    ~WindowsEnd() override
    {
        Close();
    }

    Raii::RawHandle GetSourceHandle() const noexcept override
    {
        return m_handle;
    }

    std::uint32_t StartConnect(const BlockPointer& block) override
    {
        return Start(block, [&] { return ::ConnectNamedPipe(m_handle, ToOverlapped(*block)); });
    }

    std::uint32_t StartRead(const BlockPointer& block) override
    {
        const std::span<std::uint8_t> buffer = block->GetTarget();
        return Start(
            block,
            [&]
            {
                const auto size = static_cast<DWORD>(buffer.size());
                return ::ReadFile(m_handle, buffer.data(), size, nullptr, ToOverlapped(*block));
            });
    }

    std::uint32_t StartWrite(const BlockPointer& block) override
    {
        const std::vector<std::uint8_t>& buffer = block->GetBuffer();
        return Start(
            block,
            [&]
            {
                const auto size = static_cast<DWORD>(buffer.size());
                return ::WriteFile(m_handle, buffer.data(), size, nullptr, ToOverlapped(*block));
            });
    }

    std::uint32_t CountUnread(std::uint32_t& unread) override
    {
        DWORD left = 0;
        if (::PeekNamedPipe(m_handle, nullptr, 0, nullptr, nullptr, &left) == FALSE)
        {
            return ::GetLastError();
        }
        unread = left;
        return ErrorCode::Success;
    }

    std::uint32_t Cancel(OverlappedBlock& block) noexcept override
    {
        return ::CancelIoEx(m_handle, ToOverlapped(block)) != FALSE ? ErrorCode::Success : ::GetLastError();
    }

    void CancelAll() noexcept override
    {
        (void)::CancelIoEx(m_handle, nullptr);
    }

    void Disconnect() noexcept override
    {
        (void)::DisconnectNamedPipe(m_handle);
    }

    void Close() noexcept override
    {
        if (m_handle == nullptr)
        {
            return;
        }
        CancelAll();
        AwaitBlocks();
        m_handle = nullptr;
    }

private:
    template <typename Call>
    std::uint32_t Start(const BlockPointer& block, Call call)
    {
        ForgetEnded();
        // For the block: the system signals it.
        (void)block->GetEvent();
        block->ExpectSignal();
        // Before the system has it, as there may be no memory for it afterwards.
        m_running.push_back(block);
        ::SetLastError(ERROR_SUCCESS);
        const std::uint32_t code = call() != FALSE ? ErrorCode::Success : ::GetLastError();
        if (code != ErrorCode::IoPending)
        {
            m_running.pop_back();
        }
        return code;
    }

    void ForgetEnded()
    {
        std::erase_if(m_running, [](const BlockPointer& block) { return !IsPending(block); });
    }

    /// Pipes end what is cancelled at once; a moment is given to what is ending on another thread.
    void AwaitBlocks() noexcept
    {
        constexpr std::chrono::milliseconds Step{10};
        constexpr int MostSteps = 200;
        for (int i = 0; i < MostSteps && std::ranges::any_of(m_running, IsPending); ++i)
        {
            Time::SleepFor(Step);
        }
        ForgetEnded();
        if (!m_running.empty())
        {
            // Lost on purpose: rather a few bytes less than the system writing to memory that is somebody else's by then.
            (void)new (std::nothrow) std::vector<BlockPointer>(std::move(m_running));
        }
        m_running.clear();
    }

    Raii::RawHandle m_handle;
    /// What was pending when it was started.
    std::vector<BlockPointer> m_running;
};

NewPipe ToPipe(Raii::Win32Handle handle)
{
    auto end = std::make_shared<WindowsEnd>(handle.GetRawHandle());
    return {std::move(handle), std::move(end)};
}

[[noreturn]] void ThrowNotOpened(std::uint32_t code)
{
    throw PipeIoException("Failed to open named pipe", code);
}

/// The client's side of a pipe is in byte mode until it is told otherwise.
void ReadMessages(const Raii::Win32Handle& handle)
{
    DWORD mode = PIPE_READMODE_MESSAGE;
    if (::SetNamedPipeHandleState(handle.GetRawHandle(), &mode, nullptr, nullptr) == FALSE)
    {
        ThrowNotOpened(Platform::LastError());
    }
}

} // namespace

NewPipe CreateServerPipe(const ServerRequest& request)
{
    constexpr DWORD DefaultTimeout = 0;
    const Platform::SecurityDescriptor descriptor = Platform::ConvertSecurityDescriptor(request.securityDescriptor);
    SECURITY_ATTRIBUTES attributes = {};
    attributes.nLength = sizeof attributes;
    attributes.lpSecurityDescriptor = descriptor.get();
    attributes.bInheritHandle = request.inheritable ? TRUE : FALSE;
    Raii::Win32Handle handle(::CreateNamedPipeW(
        request.name.c_str(), request.openMode, request.pipeMode, request.maximumInstances, request.bufferSize,
        request.bufferSize, DefaultTimeout, &attributes));
    if (!handle.IsValid())
    {
        throw PipeIoException("Failed to create named pipe", Platform::LastError());
    }
    return ToPipe(std::move(handle));
}

NewPipe OpenClientPipe(const std::wstring& name, std::uint32_t timeoutMs)
{
    const Time::MonotonicTime start = Time::MonotonicNow();
    while (true)
    {
        // The server learns who we are and cannot act for us.
        Raii::Win32Handle handle(::CreateFileW(
            name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
            FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr));
        if (handle.IsValid())
        {
            ReadMessages(handle);
            return ToPipe(std::move(handle));
        }
        const std::uint32_t code = Platform::LastError();
        const auto passed = std::chrono::floor<std::chrono::milliseconds>(Time::MonotonicNow() - start).count();
        const auto leftMs = static_cast<std::uint32_t>(std::max<std::int64_t>(0, timeoutMs - passed));
        if (code != ErrorCode::PipeBusy || leftMs == 0)
        {
            ThrowNotOpened(code);
        }
        // Its time-outs and failures are told by the next attempt. 0 would mean the pipe's own time limit.
        (void)::WaitNamedPipeW(name.c_str(), std::max(1U, Time::ToRealTimeoutMs(leftMs)));
    }
}

} // namespace Shared::Ipc::Native
