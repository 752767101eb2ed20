#include "lab.tools-statistics.hpp"

#include <algorithm>
#include <cmath>

namespace Lab::Tools
{

void Statistics::Add(double milliseconds) noexcept
{
    m_best = m_count == 0 ? milliseconds : std::min(m_best, milliseconds);
    m_worst = m_count == 0 ? milliseconds : std::max(m_worst, milliseconds);
    m_last = milliseconds;
    ++m_count;
    // Differences to the mean stay small, where sums of squares lose their last digits.
    const double difference = milliseconds - m_mean;
    m_mean += difference / m_count;
    m_squares += difference * (milliseconds - m_mean);
}

std::uint32_t Statistics::Count() const noexcept
{
    return m_count;
}

double Statistics::Last() const noexcept
{
    return m_last;
}

double Statistics::Best() const noexcept
{
    return m_best;
}

double Statistics::Worst() const noexcept
{
    return m_worst;
}

double Statistics::Mean() const noexcept
{
    return m_mean;
}

double Statistics::StandardDeviation() const noexcept
{
    return m_count < 2 ? 0.0 : std::sqrt(m_squares / (m_count - 1));
}

double LossPercent(std::uint32_t sent, std::uint32_t received) noexcept
{
    constexpr double Whole = 100.0;
    return sent <= received ? 0.0 : Whole * (sent - received) / sent;
}

} // namespace Lab::Tools
