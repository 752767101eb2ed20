#pragma once

#include <chrono>
#include <string_view>

namespace Lab::Tools
{

/// The break signal, by which whoever started the tool asks it to sum up and end: an interrupt to the process's group, or
/// an order to end, on Linux; a console break or interrupt on Windows. From construction on it does not end the process.
/// There is one object at most, on one thread, and it stays until the process ends.
class BreakSignal
{
public:
    /// Throws std::system_error.
    BreakSignal();
    BreakSignal(const BreakSignal&) = delete;
    BreakSignal& operator=(const BreakSignal&) = delete;
    ~BreakSignal() = default;

    bool IsGiven() const;

    /// Waits. True as soon as the signal is given, or has been before; false when `span`, in real time, is over.
    bool Await(std::chrono::nanoseconds span) const;
};

/// Whatever is written to standard output arrives as it was written, line ends too.
void KeepLineEnds() noexcept;

/// Writes to standard output, at once. Throws std::runtime_error when it does not arrive: whoever has started the tool has
/// gone, and there is nobody to measure for. (Where a broken pipe ends the process it ends there.)
void WriteOutput(std::string_view text);

} // namespace Lab::Tools
