#pragma once

#include "agentcore.system-processsource.hpp"
#include "agentcore.system-systemfunctions.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "samples.pb.h"

namespace AgentCore::System
{

/// Measures what each process did between two moments and names those that did most. Processes that were started after
/// the first moment are not seen. Belongs to one thread.
class ProcessTimer
{
public:
    /// Bytes of the machine's memory; 0 when that cannot be told.
    using TotalMemory = std::function<std::uint64_t()>;

    /// @param topCount how many programs are named at most.
    explicit ProcessTimer(std::uint32_t topCount);
    /// The same of the processes of `source`, which is not null.
    ProcessTimer(std::uint32_t topCount, std::unique_ptr<ProcessSource> source, TotalMemory totalMemory);
    ProcessTimer(const ProcessTimer&) = delete;
    ProcessTimer& operator=(const ProcessTimer&) = delete;
    virtual ~ProcessTimer() = default;

    /// The first moment; what an earlier one found is forgotten. Processes that cannot be opened are passed over; others
    /// of which something cannot be told are left out with a warning "Failed to get data on process {}: {}". Throws
    /// Win32Exception "EnumProcesses() failed".
    virtual void FirstCapture();

    /// The second moment. A process whose times can no longer be told (on Linux every one that has ended, once its parent
    /// has taken notice) is logged as a warning "Encountered an exception on final capture" and counts no more.
    virtual void FinalCapture();

    /// Fills the programs that used the processors most and those that had most memory at the first moment, the largest
    /// first. A program is an image path; its processes count together. Percentages are of the processor time that all
    /// counted processes used between the moments, and of the machine's memory; 0 where the whole is 0.
    virtual void GetTopConsumers(std::pair<ProcessSnapshot, ProcessSnapshot>& result) const;

private:
    struct Record
    {
        std::unique_ptr<KeptProcess> process;
        std::wstring imagePath;
        // 100-ns units.
        std::uint64_t startCpuTime = 0;
        std::uint64_t endCpuTime = 0;
        std::uint64_t cpuDelta = 0;
        /// Bytes.
        std::uint64_t workingSet = 0;
        bool hasFailed = false;
    };

    void Capture(std::uint32_t processId);
    static Record Group(const std::wstring& imagePath, const std::vector<Record>& records);
    ProcessSnapshot Emit(const std::vector<Record>& groups, std::uint64_t totalMemory) const;

    std::uint32_t m_topCount;
    std::map<std::wstring, std::vector<Record>> m_records;
    std::uint64_t m_totalCpuTime = 0;
    std::unique_ptr<ProcessSource> m_source;
    TotalMemory m_totalMemory;
};

} // namespace AgentCore::System
