#pragma once

#include <cstdint>

namespace Lab::Tools
{

/// Figures over times in milliseconds, in the order in which they were measured. Nothing but a few numbers is kept, however
/// many times there are.
class Statistics
{
public:
    void Add(double milliseconds) noexcept;

    std::uint32_t Count() const noexcept;
    /// All of these are 0 while there are no times.
    double Last() const noexcept;
    double Best() const noexcept;
    double Worst() const noexcept;
    double Mean() const noexcept;
    /// Of a sample: the sum of squares is divided by one less than the count. 0 for a single time.
    double StandardDeviation() const noexcept;

private:
    std::uint32_t m_count = 0;
    double m_last = 0.0;
    double m_best = 0.0;
    double m_worst = 0.0;
    double m_mean = 0.0;
    double m_squares = 0.0;
};

/// How much of `sent` did not come back, in percent; 0 when nothing was sent, and never below 0.
double LossPercent(std::uint32_t sent, std::uint32_t received) noexcept;

} // namespace Lab::Tools
