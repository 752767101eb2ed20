#include "agentcore.system-diskquery.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using AgentCore::System::MakeDiskQueryText;

std::vector<LogicalDisk> MakeDisks(const std::vector<std::string>& names)
{
    std::vector<LogicalDisk> disks(names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
    {
        disks[i].set_name(names[i]);
    }
    return disks;
}

TEST(MakeDiskQueryTextTest, AsksForEachDiskByItsName)
{
    EXPECT_EQ(
        MakeDiskQueryText(MakeDisks({"C:"})),
        L"select * from Win32_PerfRawData_PerfDisk_LogicalDisk where  Name = \"C:\"");
    EXPECT_EQ(
        MakeDiskQueryText(MakeDisks({"C:", "D:", "\xC3\x84:"})),
        L"select * from Win32_PerfRawData_PerfDisk_LogicalDisk where  Name = \"C:\" or  Name = \"D:\" or  Name = "
        L"\"\u00C4:\"");
}

} // namespace
