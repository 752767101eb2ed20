#include "shared.concurrency-job.hpp"

#include "shared.concurrency-nativejob.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include <utility>

namespace Shared::Concurrency
{

namespace
{

Raii::Win32Handle OwnOrThrow(Raii::RawHandle handle, const char* failureText)
{
    if (handle == nullptr)
    {
        throw Exception::Win32Exception(failureText, Platform::LastError());
    }
    return Raii::Win32Handle(handle);
}

} // namespace

Job::Job(std::wstring name) noexcept : m_name(std::move(name))
{
}

Job::Job(const Job& other) = default;

Job::Job(Job&& other) noexcept : m_handle(std::move(other.m_handle)), m_name(std::exchange(other.m_name, {}))
{
}

Job& Job::operator=(Job&& other) noexcept
{
    if (this != &other)
    {
        m_handle = std::move(other.m_handle);
        m_name = std::exchange(other.m_name, {});
    }
    return *this;
}

Job& Job::operator=(const Job& other) = default;

void Job::SetInformation(const JobLimits& limits)
{
    RequireHandle();
    if (!Native::LimitJob(GetHandle(), limits))
    {
        throw Exception::Win32Exception("SetInformationJobObject() failed", Platform::LastError());
    }
}

void Job::AssignProcessToThisJob(Raii::RawHandle process)
{
    RequireHandle();
    if (process == nullptr)
    {
        throw Exception::InvalidArgumentException("Process is null.");
    }
    if (!Native::AssignToJob(GetHandle(), process))
    {
        throw Exception::Win32Exception("AssignProcessToJobObject() failed.", Platform::LastError());
    }
}

bool Job::IsValid() const noexcept
{
    return m_handle.IsValid();
}

const std::wstring& Job::GetName() const noexcept
{
    return m_name;
}

void Job::Close() noexcept
{
    m_handle.Close();
}

Raii::RawHandle Job::GetHandle() const noexcept
{
    return m_handle.GetRawHandle();
}

void Job::Create(bool inheritable)
{
    m_handle = OwnOrThrow(Native::MakeJob(m_name, inheritable), "CreateJobObjectW() failed");
}

void Job::Open(bool inheritable)
{
    m_handle = OwnOrThrow(Native::OpenJob(m_name, inheritable), "OpenJobObjectW() failed");
}

void Job::RequireHandle() const
{
    if (!IsValid())
    {
        throw Exception::RuntimeException("Job is not initialised");
    }
}

} // namespace Shared::Concurrency
