#include "lab.process-functions.hpp"

#include "shared.raii-win32handle.hpp"

#include <array>

#include "shared.platform-windows.windows.hpp"

#include <tlhelp32.h>

namespace Lab::Process
{

namespace
{

using Shared::Raii::Win32Handle;

} // namespace

std::uint32_t OwnId() noexcept
{
    return ::GetCurrentProcessId();
}

std::vector<Entry> List()
{
    std::vector<Entry> entries;
    const Win32Handle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    if (!snapshot.IsValid() || ::Process32FirstW(snapshot.GetRawHandle(), &entry) == FALSE)
    {
        return entries;
    }
    do
    {
        entries.push_back({entry.th32ProcessID, entry.th32ParentProcessID, entry.szExeFile});
    } while (::Process32NextW(snapshot.GetRawHandle(), &entry) != FALSE);
    return entries;
}

bool Kill(const Entry& entry) noexcept
{
    constexpr UINT KilledExitCode = 137;
    constexpr DWORD LongestPath = 32768;
    const Win32Handle process(::OpenProcess(PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.id));
    if (!process.IsValid())
    {
        return false;
    }
    std::array<wchar_t, LongestPath> path{};
    DWORD length = LongestPath;
    if (::QueryFullProcessImageNameW(process.GetRawHandle(), 0, path.data(), &length) == FALSE ||
        std::filesystem::path(std::wstring_view(path.data(), length)).filename() != entry.program.filename())
    {
        return false;
    }
    return ::TerminateProcess(process.GetRawHandle(), KilledExitCode) != FALSE;
}

void AdoptOrphans() noexcept
{
}

void ReleaseEnded(const std::vector<Entry>&) noexcept
{
}

} // namespace Lab::Process
