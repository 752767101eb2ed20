#pragma once

#include "shared.system-processes.hpp"

#include <chrono>
#include <cstdint>

namespace Contract
{

/// A process that works as much as it is told, and otherwise waits. Ended and collected on destruction at the latest.
class Burner
{
public:
    Burner();
    Burner(const Burner&) = delete;
    Burner& operator=(const Burner&) = delete;
    ~Burner();

    std::uint32_t Id() const noexcept;
    /// Lets it use a processor for that time, by its own clock, and waits until it has.
    void Burn(std::chrono::milliseconds amount) const;
    /// Ends it; its parent, this process, has not taken notice.
    void End() const;
    /// Ends it and takes notice: the processor time that the kernel says it has used in all.
    Shared::System::CpuTime EndAndTellUsage();

private:
    int m_id = -1;
    int m_orders = -1;
    int m_answers = -1;
};

} // namespace Contract
