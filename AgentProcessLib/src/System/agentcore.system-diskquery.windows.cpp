#include "agentcore.system-diskquery.hpp"

#include "shared.wmi-wmi.windows.hpp"

namespace AgentCore::System
{

namespace
{

using Shared::WMI::WMIClassObject;

/// In the order in which the properties are asked of the record; the first that is null fails its reader.
LogicalDiskSampleRecord ReadRow(const WMIClassObject& row)
{
    LogicalDiskSampleRecord record;
    record.name = row.Get<std::wstring>(L"Name");
    if (const auto free = row.Get<std::int32_t>(L"FreeMegabytes"))
    {
        // A 32-bit number without a sign, which COM hands out as one with a sign.
        record.freeMegabytes = static_cast<std::uint32_t>(*free);
    }
    record.currentDiskQueueLength = row.Get<std::int32_t>(L"CurrentDiskQueueLength");
    return record;
}

class WmiDiskQuerier final : public DiskQuerier
{
public:
    void Query(const std::vector<LogicalDisk>& logicalDisks, const Visitor& visit) override
    {
        auto rows = m_cimV2.Query(MakeDiskQueryText(logicalDisks));
        while (const auto row = rows.Next())
        {
            visit(ReadRow(*row));
        }
    }

private:
    Shared::WMI::WMIServer m_cimV2{L"ROOT\\CIMV2"};
};

} // namespace

std::unique_ptr<DiskQuerier> MakeDiskQuerier()
{
    return std::make_unique<WmiDiskQuerier>();
}

} // namespace AgentCore::System
