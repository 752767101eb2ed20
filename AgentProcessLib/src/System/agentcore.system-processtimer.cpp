#include "agentcore.system-processtimer.hpp"

#include <algorithm>
#include <exception>

#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::System
{

namespace
{

std::uint64_t ToUnits(Shared::System::CpuTime time)
{
    return static_cast<std::uint64_t>(std::max(time.count(), std::int64_t{0}));
}

float ToPercent(std::uint64_t part, std::uint64_t whole)
{
    constexpr float percent = 100.0F;
    return whole == 0 ? 0.0F : static_cast<float>(part) / static_cast<float>(whole) * percent;
}

} // namespace

ProcessTimer::ProcessTimer(std::uint32_t topCount)
    : ProcessTimer(topCount, MakeProcessSource(), [] { return GetTotalPhysicalRamOrZero(); })
{
}

ProcessTimer::ProcessTimer(std::uint32_t topCount, std::unique_ptr<ProcessSource> source, TotalMemory totalMemory)
    : m_topCount(topCount), m_source(std::move(source)), m_totalMemory(std::move(totalMemory))
{
}

void ProcessTimer::FirstCapture()
{
    m_records.clear();
    for (const auto processId : m_source->EnumerateProcessIds())
    {
        try
        {
            Capture(processId);
        }
        catch (const std::exception& exception)
        {
            Shared::Log::Warn("Failed to get data on process {}: {}", processId, exception.what());
        }
    }
}

void ProcessTimer::Capture(std::uint32_t processId)
{
    auto capture = m_source->Capture(processId);
    if (!capture)
    {
        return;
    }
    Record record;
    record.process = std::move(capture->process);
    record.imagePath = capture->imagePath;
    record.startCpuTime = ToUnits(capture->cpuTime);
    record.workingSet = capture->workingSet;
    m_records[std::move(capture->imagePath)].push_back(std::move(record));
}

void ProcessTimer::FinalCapture()
{
    m_totalCpuTime = 0;
    for (auto& [imagePath, records] : m_records)
    {
        for (auto& record : records)
        {
            try
            {
                record.endCpuTime = ToUnits(record.process->ReadCpuTime());
                // A counter that went back has counted nothing.
                record.cpuDelta = std::max(record.endCpuTime, record.startCpuTime) - record.startCpuTime;
                m_totalCpuTime += record.cpuDelta;
            }
            catch (const std::exception& exception)
            {
                Shared::Log::LogExceptionWarning("Encountered an exception on final capture", exception);
                record.hasFailed = true;
            }
        }
    }
}

void ProcessTimer::GetTopConsumers(std::pair<ProcessSnapshot, ProcessSnapshot>& result) const
{
    std::vector<Record> groups;
    groups.reserve(m_records.size());
    for (const auto& [imagePath, records] : m_records)
    {
        groups.push_back(Group(imagePath, records));
    }
    const auto totalMemory = m_totalMemory();
    std::stable_sort(
        groups.begin(), groups.end(), [](const Record& a, const Record& b) { return a.cpuDelta > b.cpuDelta; });
    result.first = Emit(groups, totalMemory);
    std::stable_sort(
        groups.begin(), groups.end(), [](const Record& a, const Record& b) { return a.workingSet > b.workingSet; });
    result.second = Emit(groups, totalMemory);
}

/// A program's processes as one; failed when all of them are.
ProcessTimer::Record ProcessTimer::Group(const std::wstring& imagePath, const std::vector<Record>& records)
{
    Record group;
    group.imagePath = imagePath;
    group.hasFailed = true;
    for (const auto& record : records)
    {
        if (!record.hasFailed)
        {
            group.hasFailed = false;
            group.cpuDelta += record.cpuDelta;
            group.workingSet += record.workingSet;
        }
    }
    return group;
}

ProcessSnapshot ProcessTimer::Emit(const std::vector<Record>& groups, std::uint64_t totalMemory) const
{
    ProcessSnapshot snapshot;
    for (const auto& group : groups)
    {
        if (static_cast<std::uint32_t>(snapshot.processes_size()) >= m_topCount)
        {
            break;
        }
        if (!group.hasFailed)
        {
            auto& process = *snapshot.add_processes();
            process.set_command(Shared::Util::ConvertStringType(group.imagePath));
            process.set_percentage_cpu(ToPercent(group.cpuDelta, m_totalCpuTime));
            process.set_percentage_memory(ToPercent(group.workingSet, totalMemory));
        }
    }
    return snapshot;
}

} // namespace AgentCore::System
