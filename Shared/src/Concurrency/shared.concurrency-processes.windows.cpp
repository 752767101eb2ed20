#include "shared.concurrency-functions.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-win32handle.hpp"
#include "shared.util-functions.hpp"

#include "shared.platform-windows.windows.hpp"

#include <tlhelp32.h>

namespace Shared::Concurrency
{

namespace
{

bool IsInSession(DWORD processId, std::int32_t sessionId)
{
    if (sessionId < 0)
    {
        return true;
    }
    DWORD session = 0;
    if (::ProcessIdToSessionId(processId, &session) == FALSE)
    {
        throw Exception::Win32Exception("ProcessIdToSessionId() failed", Platform::LastError());
    }
    return session == static_cast<DWORD>(sessionId);
}

} // namespace

std::vector<std::uint32_t> GetProcessIDByName(const std::wstring& name, std::int32_t sessionId)
{
    if (name.empty())
    {
        throw Exception::RuntimeException("ProcessName cannot be empty.");
    }
    const Raii::Win32Handle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot.IsValid())
    {
        throw Exception::Win32Exception("CreateToolhelp32Snapshot() failed", Platform::LastError());
    }
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    if (::Process32FirstW(snapshot.GetRawHandle(), &entry) == FALSE)
    {
        throw Exception::Win32Exception("Process32First() failed", Platform::LastError());
    }
    std::vector<std::uint32_t> ids;
    do
    {
        if (Util::EqualsIgnoreCase(name, entry.szExeFile) && IsInSession(entry.th32ProcessID, sessionId))
        {
            ids.push_back(entry.th32ProcessID);
        }
    } while (::Process32NextW(snapshot.GetRawHandle(), &entry) != FALSE);
    return ids;
}

} // namespace Shared::Concurrency
