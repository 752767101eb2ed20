#include "shared.concurrency-nativewait.hpp"

#include "shared.time-clock.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::Concurrency::Native
{

WaitResult Wait(
    std::span<const Raii::RawHandle> handles, bool waitAll, std::uint32_t timeoutMs, bool alertable) noexcept
{
    const auto count = static_cast<DWORD>(handles.size());
    const DWORD result = ::WaitForMultipleObjectsEx(
        count, handles.data(), waitAll ? TRUE : FALSE, Time::ToRealTimeoutMs(timeoutMs), alertable ? TRUE : FALSE);
    switch (result)
    {
    case WAIT_TIMEOUT:
        return {WaitStatus::Timeout, 0, 0};
    case WAIT_IO_COMPLETION:
        return {WaitStatus::IoCompletion, 0, 0};
    case WAIT_FAILED:
        return {WaitStatus::Failed, 0, ::GetLastError()};
    default:
        break;
    }
    if (result >= WAIT_ABANDONED_0 && result < WAIT_ABANDONED_0 + count)
    {
        return {WaitStatus::Abandoned, result - WAIT_ABANDONED_0, 0};
    }
    return {WaitStatus::Signalled, result - WAIT_OBJECT_0, 0};
}

} // namespace Shared::Concurrency::Native
