#pragma once

#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <string>

namespace Shared::Concurrency
{

/// What a job does to its processes.
struct JobLimits
{
    /// The processes of a job end when its last handle is closed, which happens at the latest when those who hold one
    /// have ended, however they end.
    static constexpr std::uint32_t KillOnJobClose = 8192;

    std::uint32_t limitFlags = 0;
};

/// A set of processes and all that they have started, which can be ended together.
///
/// Linux keeps no such thing: here it is a pipe whose end the process watches that stands between the agent and its
/// children, so a job can take in only children that this process has started, and KillOnJobClose is its one limit. A
/// child that has ended already is no failure there, as nothing of it is left to be ended; Windows refuses it.
///
/// Not synchronised: one thread at a time.
class Job
{
public:
    /// No job, and no name for one.
    Job() noexcept = default;
    /// No job yet; `name` is that of Create() and Open().
    explicit Job(std::wstring name) noexcept;
    /// Copies share the job. Throws Win32Exception "DuplicateHandle() failed".
    Job(const Job& other);
    Job(Job&& other) noexcept;

    /// Closes the handle.
    virtual ~Job() = default;
    /// Closes the handle that was held.
    virtual Job& operator=(Job&& other) noexcept;
    virtual Job& operator=(const Job& other);
    /// Throws the runtime exception "Job is not initialised", Win32Exception "SetInformationJobObject() failed".
    virtual void SetInformation(const JobLimits& limits);
    /// Takes the process in; what it starts from now on belongs to the job too. Throws the runtime exception "Job is
    /// not initialised", the invalid-argument exception "Process is null.", Win32Exception "AssignProcessToJobObject()
    /// failed.".
    virtual void AssignProcessToThisJob(Raii::RawHandle process);
    /// Whether there is a handle.
    virtual bool IsValid() const noexcept;
    virtual const std::wstring& GetName() const noexcept;
    /// Closes the handle; the name stays. Safe to repeat. Processes that this ends may take a moment to be gone.
    virtual void Close() noexcept;
    /// Still owned here; null without a job.
    virtual Raii::RawHandle GetHandle() const noexcept;
    /// Makes the job, or opens the one of that name. A job without a name is always a new one. Throws Win32Exception
    /// "CreateJobObjectW() failed".
    virtual void Create(bool inheritable);
    /// Opens the job of that name, of which somebody holds a handle. Throws Win32Exception "OpenJobObjectW() failed".
    virtual void Open(bool inheritable);

private:
    void RequireHandle() const;

    Raii::Win32Handle m_handle;
    std::wstring m_name;
};

} // namespace Shared::Concurrency
