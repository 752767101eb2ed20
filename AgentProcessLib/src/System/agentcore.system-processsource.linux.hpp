#pragma once

#include "agentcore.system-processsource.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace AgentCore::System
{

/// The processes of Linux, of /proc/<id>/exe and /proc/<id>/stat. A kept process is its id and the moment of its start,
/// which no other process has together: as many as there may be, none of them takes a descriptor.
class LinuxProcessSource final : public ProcessSource
{
public:
    using Enumerate = std::function<std::vector<std::uint32_t>()>;

    /// @param root the folder in which /proc lies, without a separator at its end.
    /// @param enumerate tells the ids of the processes there.
    explicit LinuxProcessSource(std::string root = {}, Enumerate enumerate = &Shared::System::EnumerateProcessIds);

    std::vector<std::uint32_t> EnumerateProcessIds() override;
    std::optional<ProcessCapture> Capture(std::uint32_t processId) override;

private:
    class Folder;
    class LinuxProcess;

    std::shared_ptr<const Folder> m_folder;
    Enumerate m_enumerate;
};

/// The path of a program as /proc tells it, without the mark of a program that was removed or replaced since its start: it
/// is the same program to whoever reads its name.
std::string_view WithoutDeletedMark(std::string_view imagePath) noexcept;

} // namespace AgentCore::System
