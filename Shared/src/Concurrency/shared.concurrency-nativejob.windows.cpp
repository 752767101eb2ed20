#include "shared.concurrency-nativejob.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::Concurrency::Native
{

Raii::RawHandle MakeJob(const std::wstring& name, bool inheritable)
{
    SECURITY_ATTRIBUTES attributes = {};
    attributes.nLength = sizeof attributes;
    attributes.bInheritHandle = inheritable ? TRUE : FALSE;
    return ::CreateJobObjectW(&attributes, name.empty() ? nullptr : name.c_str());
}

Raii::RawHandle OpenJob(const std::wstring& name, bool inheritable)
{
    constexpr DWORD FullAccess = 0x1F003F;
    return ::OpenJobObjectW(FullAccess, inheritable ? TRUE : FALSE, name.c_str());
}

bool LimitJob(Raii::RawHandle job, const JobLimits& limits) noexcept
{
    static_assert(JobLimits::KillOnJobClose == JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION information = {};
    information.BasicLimitInformation.LimitFlags = limits.limitFlags;
    return ::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &information, sizeof information) != FALSE;
}

bool AssignToJob(Raii::RawHandle job, Raii::RawHandle process)
{
    return ::AssignProcessToJobObject(job, process) != FALSE;
}

} // namespace Shared::Concurrency::Native
