#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hardware.pb.h"

namespace AgentCore::System
{

/// One row of a query of logical disks. A property that is nothing is null there, and fails what reads the record with
/// "WmiValue is null".
struct LogicalDiskSampleRecord
{
    std::optional<std::wstring> name;
    std::optional<std::uint64_t> freeMegabytes;
    /// Requests that the disk has not answered yet.
    std::optional<std::int32_t> currentDiskQueueLength;
};

/// Samples logical disks, all of a list in one query. Belongs to the thread that made it, which on Windows has initialised
/// COM before.
class DiskQuerier
{
public:
    using Visitor = std::function<void(const LogicalDiskSampleRecord&)>;

    DiskQuerier() = default;
    DiskQuerier(const DiskQuerier&) = delete;
    DiskQuerier& operator=(const DiskQuerier&) = delete;
    virtual ~DiskQuerier() = default;

    /// Gives a row to `visit` for each of `logicalDisks`, by their names, that the machine has at the moment, in any order.
    /// Throws when the whole of the query fails, and what `visit` throws.
    virtual void Query(const std::vector<LogicalDisk>& logicalDisks, const Visitor& visit) = 0;
};

/// The disks of this machine. Windows: WMI; throws the exceptions of Shared::WMI when the connection to ROOT\CIMV2 cannot
/// be made. Linux: /proc/self/mountinfo, /proc/diskstats and statvfs(); making it cannot fail. What Linux does not tell of
/// a disk is logged, the first time as a warning: a disk whose room cannot be told has no row, one whose queue cannot be
/// told has the queue length 0.
std::unique_ptr<DiskQuerier> MakeDiskQuerier();

/// The question for those disks in WMI's query language. Pure.
std::wstring MakeDiskQueryText(const std::vector<LogicalDisk>& logicalDisks);

} // namespace AgentCore::System
