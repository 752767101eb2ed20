#include "shared.ipc-asyncmessagebasednamedpipe.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.platform-errors.hpp"

#include <utility>

namespace Shared::Ipc
{

using Concurrency::OverlappedIo;

namespace
{

std::wstring WithPrefix(const std::wstring& name)
{
    return name.starts_with(Native::PipePrefix) ? name : Native::PipePrefix + name;
}

bool HasBegun(std::uint32_t startResult) noexcept
{
    return startResult == Platform::ErrorCode::Success || startResult == Platform::ErrorCode::IoPending;
}

void AppendUnit(std::vector<std::uint8_t>& bytes, std::uint32_t unit)
{
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>((unit >> 8) & 0xFF));
}

/// UTF-16 whatever the size of a wide character here. What is no Unicode character cannot be told in it and is dropped;
/// a surrogate alone can, and stays.
std::vector<std::uint8_t> ToUtf16Bytes(const std::wstring& text)
{
    constexpr std::uint32_t FirstSupplementary = 0x10000;
    constexpr std::uint32_t LastCharacter = 0x10FFFF;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() * 2);
    for (const wchar_t character : text)
    {
        // A wide character is not signed on one platform and is on the other; as a number it is none of a narrow one.
        // NOLINTNEXTLINE(bugprone-signed-char-misuse)
        const auto code = static_cast<std::uint32_t>(character);
        if (code < FirstSupplementary)
        {
            AppendUnit(bytes, code);
        }
        else if (code <= LastCharacter)
        {
            AppendUnit(bytes, 0xD800 + ((code - FirstSupplementary) >> 10));
            AppendUnit(bytes, 0xDC00 + ((code - FirstSupplementary) & 0x3FF));
        }
    }
    return bytes;
}

} // namespace

AsyncMessageBasedNamedPipe::AsyncMessageBasedNamedPipe() noexcept = default;

AsyncMessageBasedNamedPipe::AsyncMessageBasedNamedPipe(const std::wstring& name, std::uint32_t bufferSize)
    : m_bufferSize(bufferSize), m_name(WithPrefix(name))
{
}

AsyncMessageBasedNamedPipe::AsyncMessageBasedNamedPipe(AsyncMessageBasedNamedPipe&& other) noexcept
    : m_handle(std::move(other.m_handle)),
      m_bufferSize(other.m_bufferSize),
      m_name(std::move(other.m_name)),
      m_end(std::move(other.m_end))
{
}

AsyncMessageBasedNamedPipe& AsyncMessageBasedNamedPipe::operator=(AsyncMessageBasedNamedPipe&& other) noexcept
{
    Move(std::move(other));
    return *this;
}

AsyncMessageBasedNamedPipe::~AsyncMessageBasedNamedPipe()
{
    AsyncMessageBasedNamedPipe::Close();
}

Raii::RawHandle AsyncMessageBasedNamedPipe::GetRawHandle() const noexcept
{
    return m_handle.GetRawHandle();
}

bool AsyncMessageBasedNamedPipe::IsOpen() const noexcept
{
    return m_handle.IsValid();
}

void AsyncMessageBasedNamedPipe::Close() noexcept
{
    if (m_end != nullptr)
    {
        m_end->Close();
        m_end.reset();
    }
    m_handle.Close();
}

const Raii::Win32Handle& AsyncMessageBasedNamedPipe::GetHandle() const noexcept
{
    return m_handle;
}

std::uint32_t AsyncMessageBasedNamedPipe::GetUnreadCharacterCount() const
{
    if (!IsOpen())
    {
        return 0;
    }
    std::uint32_t unread = 0;
    if (const std::uint32_t code = m_end->CountUnread(unread); code != Platform::ErrorCode::Success)
    {
        throw PipeIoException("PeekNamedPipe() failed", code);
    }
    return unread;
}

OverlappedIo AsyncMessageBasedNamedPipe::Write(std::uint32_t number)
{
    std::vector<std::uint8_t> bytes;
    AppendUnit(bytes, number);
    AppendUnit(bytes, number >> 16);
    return Write(std::move(bytes));
}

OverlappedIo AsyncMessageBasedNamedPipe::Write(std::vector<std::uint8_t> bytes)
{
    if (!IsOpen())
    {
        throw Exception::RuntimeException("No pipe to write to");
    }
    OverlappedIo operation(m_end);
    operation.GetBuffer() = std::move(bytes);
    const std::uint32_t code = m_end->StartWrite(operation.ShareBlock());
    operation.SetStartResult(code);
    if (!HasBegun(code))
    {
        throw PipeIoException("WriteFile() failed", code);
    }
    return operation;
}

OverlappedIo AsyncMessageBasedNamedPipe::Write(const std::wstring& text)
{
    return Write(ToUtf16Bytes(text));
}

OverlappedIo AsyncMessageBasedNamedPipe::Write(const std::string& text)
{
    return Write(std::vector<std::uint8_t>(text.begin(), text.end()));
}

OverlappedIo AsyncMessageBasedNamedPipe::Read(std::uint32_t size)
{
    return ReadOn({}, size);
}

OverlappedIo AsyncMessageBasedNamedPipe::ReadOn(std::span<const std::uint8_t> begun, std::uint32_t size)
{
    if (!IsOpen())
    {
        throw Exception::RuntimeException("No pipe to read from");
    }
    OverlappedIo operation(m_end);
    operation.PrepareBuffer(begun, size);
    const std::uint32_t code = m_end->StartRead(operation.ShareBlock());
    operation.SetStartResult(code);
    if (!HasBegun(code) && code != Platform::ErrorCode::MoreData)
    {
        throw PipeIoException("ReadFile() failed", code);
    }
    return operation;
}

OverlappedIo AsyncMessageBasedNamedPipe::Read()
{
    return Read(m_bufferSize);
}

void AsyncMessageBasedNamedPipe::Cancel() noexcept
{
    if (m_end != nullptr)
    {
        m_end->CancelAll();
    }
}

const std::wstring& AsyncMessageBasedNamedPipe::GetName() const noexcept
{
    return m_name;
}

std::uint32_t AsyncMessageBasedNamedPipe::GetBufferSize() const noexcept
{
    return m_bufferSize;
}

void AsyncMessageBasedNamedPipe::Move(AsyncMessageBasedNamedPipe&& other) noexcept
{
    if (this != &other)
    {
        Close();
        m_handle = std::move(other.m_handle);
        m_bufferSize = other.m_bufferSize;
        m_name = std::move(other.m_name);
        m_end = std::move(other.m_end);
    }
}

void AsyncMessageBasedNamedPipe::Attach(Native::NewPipe pipe) noexcept
{
    m_handle = std::move(pipe.handle);
    m_end = std::move(pipe.end);
}

const std::shared_ptr<Native::PipeEnd>& AsyncMessageBasedNamedPipe::GetEnd() const noexcept
{
    return m_end;
}

} // namespace Shared::Ipc
