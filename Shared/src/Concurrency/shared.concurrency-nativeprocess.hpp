#pragma once

#include "shared.raii-nativehandle.hpp"
#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// The operations on child processes, with a body for each platform. For the callers, see
/// shared.concurrency-process.hpp and shared.concurrency-processrunner.hpp.
namespace Shared::Concurrency::Native
{

/// What the system keeps of a started process beyond its handles; empty on Windows, where the handle is enough. For one
/// thread at a time.
class ProcessControl;

/// The child's ends of two pipes.
struct ChildStreams
{
    Raii::RawHandle input = nullptr;
    /// For standard output and error.
    Raii::RawHandle output = nullptr;
};

struct ProcessRequest
{
    /// The program. Relative to the directory of the running executable; empty means the first argument, or the first
    /// of the command line. A tool has no extension on Windows and gets ".exe".
    std::wstring program;
    std::wstring commandLine;
    /// What the command line was made from; empty where there is only the line.
    std::vector<std::wstring> arguments;
    /// Relative to the directory of the running executable; empty means this process's own.
    std::wstring workingDirectory;
    /// "NAME=value" each; nothing for what the agent has, of which Linux hands on a list (docs/platform.md).
    std::optional<std::vector<std::wstring>> environment;
    /// Of Windows: the window station and desktop; empty for those of this process.
    std::wstring desktop;
    /// Of Windows. Linux knows the new process group (512), with which the child can be interrupted, and takes "no
    /// window" (0x8000000) for "no output"; the rest has no meaning there.
    std::uint32_t creationFlags = 0;
    /// Whether the child gets all inheritable handles. With streams it gets these alone, whatever this says.
    bool inheritHandles = false;
    std::optional<ChildStreams> streams;
    /// Null for the identity of this process.
    Raii::RawHandle token = nullptr;
    /// The child is in it from its first instruction; null for none.
    Raii::RawHandle job = nullptr;
};

inline constexpr std::uint32_t NewProcessGroupFlag = 512;
inline constexpr std::uint32_t NoWindowFlag = 0x8000000;

struct StartedProcess
{
    /// Null when there is no process.
    Raii::Win32Handle process;
    /// Null on Linux.
    Raii::Win32Handle thread;
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
    std::shared_ptr<ProcessControl> control;
    /// 0, or the system's code for why there is no process.
    std::uint32_t error = 0;
};

/// Starts a process. What the system refuses is told in the result; what goes wrong with preparing it on Windows is
/// thrown as Win32Exception "InitializeProcThreadAttributeList() failed", "UpdateProcThreadAttribute() failed" or
/// "AssignProcessToJobObject() failed.", and as the runtime exception "InitializeProcThreadAttributeList() succeeded,
/// expected to fail". Texts that hold a null character throw the invalid-argument exception "Text with a null character
/// for a child process". Any thread.
StartedProcess StartProcess(const ProcessRequest& request);

/// Reads the exit code into `code`, 259 while the process runs. 0, or the system's error code.
std::uint32_t QueryExitCode(Raii::RawHandle process, ProcessControl* control, std::uint32_t& code) noexcept;

/// Ends a process at once, without waiting for it. False when the system refuses, also for one that has ended.
bool EndProcess(Raii::RawHandle process) noexcept;

/// Asks all processes of a group, by the id of its first one, to break off: console break, SIGINT. False when there is
/// no such group.
bool BreakGroup(std::uint32_t processId) noexcept;

/// Name of the device that swallows everything.
std::wstring NullDeviceName();

struct PipeEnds
{
    Raii::Win32Handle read;
    Raii::Win32Handle write;
};

/// An anonymous pipe of the system's own size. Neither end is inheritable: StartProcess() hands over what it is told.
/// False with the code in LastError().
bool MakePipe(PipeEnds& ends) noexcept;

struct PipeResult
{
    /// Bytes that can be read, or that were read.
    std::uint32_t count = 0;
    /// 0, Shared::Platform::ErrorCode::BrokenPipe once nobody has the other end and everything is read, or another.
    std::uint32_t error = 0;
};

/// Looks at the pipe without waiting.
PipeResult PeekPipe(Raii::RawHandle pipe) noexcept;

/// Reads up to as much as there is room for; waits when there is nothing.
PipeResult ReadPipe(Raii::RawHandle pipe, std::span<char> buffer) noexcept;

} // namespace Shared::Concurrency::Native
