#include "agentcore.system-processsource.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-win32handle.hpp"

#include "shared.platform-windows.windows.hpp"

#include <psapi.h>

namespace AgentCore::System
{

namespace
{

using Shared::Exception::Win32Exception;
using Shared::Raii::Win32Handle;

std::wstring ReadImagePath(HANDLE process)
{
    std::array<wchar_t, 2048> buffer{};
    const DWORD length = ::K32GetModuleFileNameExW(process, nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0)
    {
        throw Win32Exception("GetModuleFileNameExW() failed", Shared::Platform::LastError());
    }
    // A path that was cut may be told with the null character at its end.
    const auto* const begin = buffer.data();
    return {begin, std::find(begin, begin + std::min<std::size_t>(length, buffer.size()), L'\0')};
}

std::uint64_t ReadWorkingSet(HANDLE process)
{
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    if (::K32GetProcessMemoryInfo(process, &counters, sizeof(counters)) == FALSE)
    {
        throw Win32Exception("K32GetProcessMemoryInfo() failed", Shared::Platform::LastError());
    }
    return counters.WorkingSetSize;
}

/// No more rights than are needed: whoever asks for more is refused more often. To read the path is documented to want the
/// right to read memory too, which newer systems do without.
Win32Handle OpenForReading(std::uint32_t processId)
{
    Win32Handle handle{::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId)};
    return handle.IsValid() ? std::move(handle)
                            : Win32Handle{::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, processId)};
}

class WindowsProcess final : public KeptProcess
{
public:
    explicit WindowsProcess(Win32Handle handle) : m_handle(std::move(handle))
    {
    }

    Shared::System::CpuTime ReadCpuTime() const override
    {
        return Shared::System::GetProcessTime(m_handle.GetRawHandle()).Total();
    }

private:
    Win32Handle m_handle;
};

class WindowsProcessSource final : public ProcessSource
{
public:
    std::vector<std::uint32_t> EnumerateProcessIds() override
    {
        return Shared::System::EnumerateProcessIds();
    }

    std::optional<ProcessCapture> Capture(std::uint32_t processId) override
    {
        Win32Handle handle = OpenForReading(processId);
        if (!handle.IsValid())
        {
            return std::nullopt;
        }
        ProcessCapture capture;
        capture.imagePath = ReadImagePath(handle.GetRawHandle());
        capture.workingSet = ReadWorkingSet(handle.GetRawHandle());
        capture.process = std::make_unique<WindowsProcess>(std::move(handle));
        capture.cpuTime = capture.process->ReadCpuTime();
        return capture;
    }
};

} // namespace

std::unique_ptr<ProcessSource> MakeProcessSource()
{
    return std::make_unique<WindowsProcessSource>();
}

} // namespace AgentCore::System
