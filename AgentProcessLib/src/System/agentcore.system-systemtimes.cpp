#include "agentcore.system-systemtimes.hpp"

#include <array>
#include <cstddef>

#include "agentcore.system-texts.hpp"
#include "shared.system-processstat.hpp"

namespace AgentCore::System
{

namespace
{

/// The columns behind "cpu". What guests use is part of the first two already.
enum Column : std::size_t
{
    User,
    Nice,
    Kernel,
    Idle,
    IoWait,
    Irq,
    SoftIrq,
    Steal,
    ColumnCount
};

using Columns = std::array<std::uint64_t, ColumnCount>;

/// As many ticks of all processors as a machine can count in any lifetime.
constexpr std::uint64_t MostTicks = std::uint64_t{1} << 48U;

std::optional<Columns> ParseColumns(std::string_view line)
{
    // Without the last ones a kernel may do.
    constexpr std::size_t leastColumns = IoWait;
    Columns columns{};
    for (std::size_t column = 0; column < ColumnCount; ++column)
    {
        const auto word = Texts::TakeWord(line);
        if (word.empty() && column >= leastColumns)
        {
            break;
        }
        const auto ticks = Texts::ParseNumber<std::uint64_t>(word);
        if (!ticks || *ticks > MostTicks)
        {
            return std::nullopt;
        }
        columns.at(column) = *ticks;
    }
    return columns;
}

std::uint64_t ToUnits(std::uint64_t ticks, std::uint64_t ticksPerSecond)
{
    return static_cast<std::uint64_t>(Shared::System::FromTicks(ticks, ticksPerSecond).count());
}

/// A difference of two counts, below 0 where the kernel has taken something back, as it does at times.
float ToFloat(std::uint64_t difference)
{
    return static_cast<float>(static_cast<std::int64_t>(difference));
}

} // namespace

std::optional<SystemTimes> ParseSystemTimes(std::string_view text, std::uint64_t ticksPerSecond)
{
    while (!text.empty())
    {
        auto line = Texts::TakeLine(text);
        if (Texts::TakeWord(line) != "cpu")
        {
            continue;
        }
        const auto columns = ParseColumns(line);
        if (!columns)
        {
            return std::nullopt;
        }
        const auto& ticks = *columns;
        const auto idle = ToUnits(ticks[Idle] + ticks[IoWait], ticksPerSecond);
        const auto inKernel = ticks[Kernel] + ticks[Irq] + ticks[SoftIrq] + ticks[Steal];
        return SystemTimes{
            idle, ToUnits(inKernel, ticksPerSecond) + idle, ToUnits(ticks[User] + ticks[Nice], ticksPerSecond)};
    }
    return std::nullopt;
}

CpuSnapshot CpuSampler::Sample(const SystemTimes& times)
{
    constexpr float percent = 100.0F;
    CpuSnapshot snapshot;
    if (m_previous.idle != 0 && m_previous.kernel != 0 && m_previous.user != 0)
    {
        const auto kernelDelta = times.kernel - m_previous.kernel;
        const auto userDelta = times.user - m_previous.user;
        const auto idleDelta = times.idle - m_previous.idle;
        const float total = ToFloat(kernelDelta + userDelta);
        snapshot.set_total_processing_time_percent(
            ToFloat(kernelDelta - idleDelta) / total * percent + ToFloat(userDelta) / total * percent);
    }
    m_previous = times;
    return snapshot;
}

} // namespace AgentCore::System
