#pragma once

#include "shared.system-processes.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Contract
{

/// A program of its own that works as much as it is told, and otherwise stands still. Ended and collected on destruction
/// at the latest.
class Burner
{
public:
    /// Starts a copy of the system's shell, which lies at `imagePath` then, with that much more memory than it needs.
    explicit Burner(const std::string& imagePath, std::size_t moreMemory = 0);
    Burner(const Burner&) = delete;
    Burner& operator=(const Burner&) = delete;
    ~Burner();

    std::uint32_t Id() const noexcept;
    /// Lets it use a processor for that time and a little longer, by the kernel's clock of its processor time, and returns
    /// when it stands still again.
    void Burn(Shared::System::CpuTime amount) const;
    /// Processor time that it has used so far, by that clock; exact to the nanosecond, not to the tick.
    Shared::System::CpuTime Used() const;
    /// Ends it; its parent, this process, has not taken notice.
    void End() const;
    /// Ends it and takes notice: the processor time that the kernel says it has used in all.
    Shared::System::CpuTime EndAndTellUsage();

private:
    void AwaitStandstill() const;

    int m_id = -1;
};

} // namespace Contract
