#pragma once

#include "shared.system-processes.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace AgentCore::System
{

/// A process that is held fast: it stays the same one, whoever gets its id later.
class KeptProcess
{
public:
    KeptProcess() = default;
    KeptProcess(const KeptProcess&) = delete;
    KeptProcess& operator=(const KeptProcess&) = delete;
    virtual ~KeptProcess() = default;

    /// Time on processors so far, in the kernel and in the program, of all its threads. Throws Win32Exception
    /// "GetProcessTimes() failed". A process that has ended is still readable on Windows, and on Linux until its parent has
    /// taken notice of the end: what it had used goes into the parent's sum then and can be told apart no more.
    virtual Shared::System::CpuTime ReadCpuTime() const = 0;
};

/// What a process is at the moment of its capture.
struct ProcessCapture
{
    std::unique_ptr<KeptProcess> process;
    std::wstring imagePath;
    /// Memory that it has in RAM, what it shares with others included; bytes.
    std::uint64_t workingSet = 0;
    Shared::System::CpuTime cpuTime{};
};

/// The processes of a machine. Used by one thread at a time.
class ProcessSource
{
public:
    ProcessSource() = default;
    ProcessSource(const ProcessSource&) = delete;
    ProcessSource& operator=(const ProcessSource&) = delete;
    virtual ~ProcessSource() = default;

    /// Ids of all processes, in no order. Throws Win32Exception "EnumProcesses() failed".
    virtual std::vector<std::uint32_t> EnumerateProcessIds() = 0;

    /// Captures a process. Nothing for one that is gone, that this user may not look at, or that has no image, as the
    /// kernel's own. Throws Win32Exception "GetModuleFileNameExW() failed", "K32GetProcessMemoryInfo() failed",
    /// "GetProcessTimes() failed".
    virtual std::optional<ProcessCapture> Capture(std::uint32_t processId) = 0;
};

/// The processes of this machine. Linux: holds one descriptor, however many processes are kept.
std::unique_ptr<ProcessSource> MakeProcessSource();

} // namespace AgentCore::System
