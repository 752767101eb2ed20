#pragma once

#include "shared.concurrency-job.hpp"
#include "shared.raii-nativehandle.hpp"

#include <string>

/// The job operations of the platforms. What fails gives null or false, with the code in Shared::Platform::LastError().
/// Any thread. For the callers, see shared.concurrency-job.hpp.
namespace Shared::Concurrency::Native
{

/// Throws only what GetRuntimeDirectory() throws, on Linux for a name.
Raii::RawHandle MakeJob(const std::wstring& name, bool inheritable);
Raii::RawHandle OpenJob(const std::wstring& name, bool inheritable);

bool LimitJob(Raii::RawHandle job, const JobLimits& limits) noexcept;

bool AssignToJob(Raii::RawHandle job, Raii::RawHandle process);

} // namespace Shared::Concurrency::Native
