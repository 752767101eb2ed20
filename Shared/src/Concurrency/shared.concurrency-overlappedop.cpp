#include "shared.concurrency-overlappedop.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.platform-standarderror.hpp"

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace Shared::Concurrency
{

namespace
{

/// The members that only need the block to be there fail alike.
const std::shared_ptr<OverlappedBlock>& Require(const std::shared_ptr<OverlappedBlock>& block, const char* text)
{
    if (block == nullptr)
    {
        throw Exception::RuntimeException(text);
    }
    return block;
}

constexpr const char* NoBlockText = "IoOverlapped is null";
constexpr const char* NoEventText = "Event is null";

void ReportFailedWait(const std::exception& exception) noexcept
{
    constexpr std::string_view Prefix = "OverlappedOp::WaitForCompletion(const DWORD timeout, std::nothrow_t): ";
    const char* const text = exception.what();
    const bool hasText = text != nullptr && *text != '\0';
    try
    {
        std::string line(Prefix);
        line += hasText ? text : "Unknown exception";
        line += '\n';
        Platform::PrintToStandardError(std::string_view(line));
    }
    catch (const std::exception&)
    {
        Platform::PrintToStandardError(Prefix);
    }
}

} // namespace

OverlappedOp::OverlappedOp() : m_block(std::make_shared<OverlappedBlock>())
{
}

OverlappedOp::OverlappedOp(const std::shared_ptr<OverlappedSource>& source)
    : m_block(std::make_shared<OverlappedBlock>(source->GetSpare())),
      m_sourceHandle(source->GetSourceHandle()),
      m_source(source)
{
}

OverlappedOp::OverlappedOp(const OverlappedOp& other) = default;

OverlappedOp::OverlappedOp(OverlappedOp&& other) noexcept
    : m_block(std::move(other.m_block)),
      m_startResult(other.m_startResult),
      m_sourceHandle(std::exchange(other.m_sourceHandle, nullptr)),
      m_source(std::move(other.m_source))
{
}

OverlappedOp::~OverlappedOp() = default;

OverlappedOp& OverlappedOp::operator=(OverlappedOp&& other) noexcept
{
    Move(std::move(other));
    return *this;
}

OverlappedOp& OverlappedOp::operator=(const OverlappedOp& other)
{
    if (this != &other)
    {
        Copy(other);
    }
    return *this;
}

bool OverlappedOp::WaitForCompletion(std::uint32_t timeoutMs, std::nothrow_t) noexcept
{
    try
    {
        return WaitForCompletion(timeoutMs);
    }
    catch (const std::exception& exception)
    {
        ReportFailedWait(exception);
        return false;
    }
}

bool OverlappedOp::WaitForCompletion(std::uint32_t timeoutMs)
{
    OverlappedBlock& block = *Require(m_block, NoBlockText);
    const std::shared_ptr<OverlappedSource> source = block.GetStatus() == NtStatus::Pending ? m_source.lock() : nullptr;
    const bool isSignalled = source != nullptr ? source->AwaitEnd(block, timeoutMs) : block.Wait(timeoutMs);
    if (!isSignalled)
    {
        return false;
    }
    if (IsSuccessful())
    {
        OnCompletion();
    }
    return true;
}

Raii::RawHandle OverlappedOp::GetWaitableHandle() const
{
    const Raii::RawHandle handle = Require(m_block, NoEventText)->GetEvent().GetHandle();
    if (const std::shared_ptr<OverlappedSource> source = m_source.lock())
    {
        source->OnEventGiven();
    }
    return handle;
}

OverlappedBlock* OverlappedOp::GetOverlapped() const
{
    return Require(m_block, NoBlockText).get();
}

std::uint32_t OverlappedOp::GetStatus() const
{
    (void)Require(m_block, NoBlockText);
    const std::uint32_t status = LookAtStatus();
    return m_startResult == Platform::ErrorCode::IoPending ? status : m_startResult;
}

std::uint32_t OverlappedOp::GetRawStatus() const noexcept
{
    return m_block == nullptr ? 0 : LookAtStatus();
}

std::uint32_t OverlappedOp::GetBytesTransferred() const noexcept
{
    if (m_block == nullptr)
    {
        return 0;
    }
    (void)LookAtStatus();
    return m_block->GetBytesTransferred();
}

bool OverlappedOp::IsValid() const noexcept
{
    return m_block != nullptr;
}

bool OverlappedOp::IsComplete() const noexcept
{
    return IsValid() && LookAtStatus() != NtStatus::Pending;
}

bool OverlappedOp::IsSuccessful() const noexcept
{
    return IsValid() && LookAtStatus() == NtStatus::Success;
}

bool OverlappedOp::IsPartial() const
{
    (void)Require(m_block, NoBlockText);
    return LookAtStatus() == NtStatus::BufferOverflow;
}

void OverlappedOp::SetSignalled(bool signalled)
{
    OverlappedBlock& block = *Require(m_block, NoEventText);
    if (signalled)
    {
        block.Signal();
    }
    else
    {
        block.Reset();
    }
}

void OverlappedOp::SetStartResult(std::uint32_t code) noexcept
{
    m_startResult = code;
}

std::uint32_t OverlappedOp::GetStartResult() const noexcept
{
    return m_startResult;
}

void OverlappedOp::CancelIfSourceSet(std::nothrow_t) noexcept
{
    try
    {
        CancelIfSourceSet();
    }
    catch (const std::exception& exception)
    {
        Log::LogException("CancelIfSourceSet() failed", exception);
    }
}

void OverlappedOp::CancelIfSourceSet()
{
    if (m_sourceHandle == nullptr)
    {
        return;
    }
    // A source that has gone took its operations with it.
    const std::shared_ptr<OverlappedSource> source = m_source.lock();
    const std::uint32_t code =
        source == nullptr || m_block == nullptr ? Platform::ErrorCode::NotFound : source->Cancel(*m_block);
    if (code != Platform::ErrorCode::Success)
    {
        throw Exception::Win32Exception("CancelIoEx() failed", code);
    }
}

std::shared_ptr<OverlappedBlock> OverlappedOp::ShareBlock() const noexcept
{
    return m_block;
}

void OverlappedOp::Move(OverlappedOp&& other) noexcept
{
    if (this != &other)
    {
        m_block = std::move(other.m_block);
        m_startResult = other.m_startResult;
        m_sourceHandle = std::exchange(other.m_sourceHandle, nullptr);
        m_source = std::move(other.m_source);
    }
}

void OverlappedOp::Copy(const OverlappedOp& other)
{
    m_block = other.m_block;
    m_startResult = other.m_startResult;
    m_sourceHandle = other.m_sourceHandle;
    m_source = other.m_source;
}

void OverlappedOp::OnCompletion()
{
}

std::uint32_t OverlappedOp::LookAtStatus() const noexcept
{
    if (m_block->GetStatus() == NtStatus::Pending)
    {
        if (const std::shared_ptr<OverlappedSource> source = m_source.lock())
        {
            source->BringUpToDate(*m_block);
        }
    }
    return m_block->GetStatus();
}

} // namespace Shared::Concurrency
