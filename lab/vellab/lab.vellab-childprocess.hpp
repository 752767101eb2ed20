#pragma once

#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Lab
{

/// How a program is started by the laboratory.
struct ChildRequest
{
    std::filesystem::path program;
    std::vector<std::string> arguments;
    /// Whether the program's name stands in front of the arguments, as it mostly does.
    bool namesProgram = true;
    std::filesystem::path workingFolder;
    /// Where its standard output and standard error go; each may be the same file.
    std::filesystem::path output;
    std::filesystem::path errors;
};

/// A program that ends with the laboratory at the latest: it is killed when this object, or this process, goes away.
class ChildProcess
{
public:
    /// Throws std::system_error when the program cannot be started.
    explicit ChildProcess(const ChildRequest& request);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    std::uint32_t GetId() const noexcept;
    /// Signalled once it has ended; owned here.
    Shared::Raii::RawHandle GetHandle() const noexcept;
    /// How it ended, as the system tells a parent: on Linux the lowest 8 bits, or 128 and the number of the signal that
    /// ended it. Nothing while it runs.
    std::optional<std::int32_t> GetExitStatus();
    /// Ends it at once. Safe to repeat.
    void Kill() noexcept;

private:
    std::uint32_t m_id = 0;
    Shared::Raii::Win32Handle m_process;
    /// Windows: the job that ends it with us. Linux: none, the kernel does it.
    Shared::Raii::Win32Handle m_job;
    std::optional<std::int32_t> m_exitStatus;
};

} // namespace Lab
