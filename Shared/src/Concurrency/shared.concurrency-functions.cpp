#include "shared.concurrency-functions.hpp"

#include "shared.concurrency-nativewait.hpp"
#include "shared.exception-exceptions.hpp"

#include <algorithm>

#include <fmt/format.h>

namespace Shared::Concurrency
{

namespace
{

constexpr const char* WaitFailedText = "WaitForSingleObjectEx() failed";

[[noreturn]] void ThrowAbandoned()
{
    throw Exception::RuntimeException("The wait was abandoned");
}

} // namespace

bool WaitFor(Raii::RawHandle handle, std::uint32_t timeoutMs, bool alertable)
{
    if (handle == nullptr)
    {
        throw Exception::InvalidArgumentException("Handle is nullptr");
    }
    const Native::WaitResult result = Native::Wait({&handle, 1}, false, timeoutMs, alertable);
    switch (result.status)
    {
    case Native::WaitStatus::Signalled:
        return true;
    case Native::WaitStatus::Abandoned:
        ThrowAbandoned();
    case Native::WaitStatus::Failed:
        throw Exception::Win32Exception(WaitFailedText, result.error);
    case Native::WaitStatus::Timeout:
    case Native::WaitStatus::IoCompletion:
        break;
    }
    return false;
}

std::uint32_t WaitFor(
    const std::vector<Raii::RawHandle>& handles, bool waitAll, std::uint32_t timeoutMs, bool alertable)
{
    if (handles.empty())
    {
        throw Exception::InvalidArgumentException("handles is empty");
    }
    if (handles.size() > MaximumWaitHandles)
    {
        throw Exception::InvalidArgumentException(fmt::format("Too many handles to wait on: {}", handles.size()));
    }
    if (std::find(handles.begin(), handles.end(), nullptr) != handles.end())
    {
        throw Exception::InvalidArgumentException("Cannot wait on null handle");
    }
    const Native::WaitResult result = Native::Wait(handles, waitAll, timeoutMs, alertable);
    switch (result.status)
    {
    case Native::WaitStatus::Timeout:
        return WaitResultTimeout;
    case Native::WaitStatus::IoCompletion:
        return WaitResultIoCompletion;
    case Native::WaitStatus::Abandoned:
        ThrowAbandoned();
    case Native::WaitStatus::Failed:
        throw Exception::Win32Exception(WaitFailedText, result.error);
    case Native::WaitStatus::Signalled:
        break;
    }
    return waitAll ? 0 : result.index;
}

} // namespace Shared::Concurrency
