#include "agentcore.system-diskquery.hpp"

#include "shared.util-functions.hpp"

namespace AgentCore::System
{

std::wstring MakeDiskQueryText(const std::vector<LogicalDisk>& logicalDisks)
{
    static const std::wstring Selection = L"select * from Win32_PerfRawData_PerfDisk_LogicalDisk";
    std::wstring text = Selection;
    text.append(L" where ");
    bool isFirst = true;
    for (const auto& disk : logicalDisks)
    {
        text.append(isFirst ? L"" : L" or ");
        text.append(L" Name = \"");
        text.append(Shared::Util::ConvertStringType(disk.name()));
        text.append(L"\"");
        isFirst = false;
    }
    return text;
}

} // namespace AgentCore::System
