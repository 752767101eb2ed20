#pragma once

#include "shared.concurrency-overlappedio.hpp"
#include "shared.ipc-nativepipe.hpp"
#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Shared::Ipc
{

/// One end of a duplex channel between two processes that keeps messages whole: what one Write() gives, the other side's
/// reads give back together, of any length up to 256 MiB, the empty one too. All I/O is asynchronous: an operation is
/// handed out running and waited on by its event; nothing here blocks.
///
/// Windows: a named pipe in message mode. Linux: a socket in the runtime directory, on which one thread of the process
/// ("pipe-completion") finishes what could not be finished at once; it lives as long as the process has a pipe.
///
/// Can be moved; a moved-from pipe has no handle. One thread at a time.
class AsyncMessageBasedNamedPipe
{
public:
    /// No pipe and no name.
    AsyncMessageBasedNamedPipe() noexcept;
    AsyncMessageBasedNamedPipe(const AsyncMessageBasedNamedPipe&) = delete;
    AsyncMessageBasedNamedPipe(AsyncMessageBasedNamedPipe&& other) noexcept;
    AsyncMessageBasedNamedPipe& operator=(const AsyncMessageBasedNamedPipe&) = delete;
    /// Closes this pipe first.
    AsyncMessageBasedNamedPipe& operator=(AsyncMessageBasedNamedPipe&& other) noexcept;
    /// Cancels what is pending and closes the handle. Operations that are still held end as cancelled.
    virtual ~AsyncMessageBasedNamedPipe();

    /// Null when there is none. Owned here; on Linux it can be compared and nothing else.
    virtual Raii::RawHandle GetRawHandle() const noexcept;
    virtual bool IsOpen() const noexcept;
    /// Cancels what is pending and closes the handle. Safe to repeat.
    virtual void Close() noexcept;
    virtual const Raii::Win32Handle& GetHandle() const noexcept;
    /// How many bytes are left of the message that is being read, or that waits to be read first: 0 when none waits, and
    /// without a handle. Throws PipeIoException "PeekNamedPipe() failed".
    virtual std::uint32_t GetUnreadCharacterCount() const;
    /// Starts to write one message: the 4 bytes of `number`, low byte first.
    virtual Concurrency::OverlappedIo Write(std::uint32_t number);
    /// Starts to write `bytes` as one message; the operation keeps them. Throws the runtime exception "No pipe to write
    /// to", PipeIoException "WriteFile() failed".
    virtual Concurrency::OverlappedIo Write(std::vector<std::uint8_t> bytes);
    /// The UTF-16 code units of `text`, low byte first, without a terminator. Failures as above.
    virtual Concurrency::OverlappedIo Write(const std::wstring& text);
    /// The bytes of `text`, without a terminator. Failures as above.
    virtual Concurrency::OverlappedIo Write(const std::string& text);
    /// Starts to read at most `size` bytes of one message. A longer message makes the operation partial, and the next
    /// reads go on in it. Throws the runtime exception "No pipe to read from", PipeIoException "ReadFile() failed".
    virtual Concurrency::OverlappedIo Read(std::uint32_t size);
    /// Read() of the buffer size.
    virtual Concurrency::OverlappedIo Read();
    /// Read() of `size` bytes whose buffer begins with `begun`, what was read of the message before, and takes what is
    /// read behind them: so that a long message is put together without being copied.
    virtual Concurrency::OverlappedIo ReadOn(std::span<const std::uint8_t> begun, std::uint32_t size);
    /// Cancels every pending operation on the handle, which ends it with status 0xC0000120.
    virtual void Cancel() noexcept;

    /// With its prefix; empty when there is no pipe.
    const std::wstring& GetName() const noexcept;
    /// Bytes that Read() asks for.
    std::uint32_t GetBufferSize() const noexcept;

protected:
    AsyncMessageBasedNamedPipe(const std::wstring& name, std::uint32_t bufferSize);

    /// Behind the move assignment: closes the own handle and takes over everything.
    virtual void Move(AsyncMessageBasedNamedPipe&& other) noexcept;

    void Attach(Native::NewPipe pipe) noexcept;
    /// Null when there is no pipe.
    const std::shared_ptr<Native::PipeEnd>& GetEnd() const noexcept;

private:
    Raii::Win32Handle m_handle;
    std::uint32_t m_bufferSize = 0;
    std::wstring m_name;
    std::shared_ptr<Native::PipeEnd> m_end;
};

} // namespace Shared::Ipc
