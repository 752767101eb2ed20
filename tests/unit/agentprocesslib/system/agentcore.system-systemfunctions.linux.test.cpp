#include "agentcore.system-systemfunctions.linux.hpp"

#include <cerrno>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-temporaryfolder.hpp"
#include "test.system-machinetree.hpp"

namespace
{

using AgentCore::System::ReadMemoryStatus;
using Shared::Exception::Win32Exception;

std::uint32_t FailureCode(const std::string& root)
{
    try
    {
        ReadMemoryStatus(root);
    }
    catch (const Win32Exception& exception)
    {
        EXPECT_EQ(TestSupport::BareText(exception.what()), "GlobalMemoryStatusEx() failed");
        return exception.GetCode();
    }
    ADD_FAILURE() << "nothing was thrown";
    return 0;
}

TEST(ReadMemoryStatusTest, ReadsTheMachinesOwnFile)
{
    const TestSupport::TemporaryFolder folder;
    const TestSupport::MachineTree tree(folder.Path());
    TestSupport::LayOutLaptop(tree);
    const auto status = ReadMemoryStatus(tree.Root());
    EXPECT_EQ(status.totalPhysical, std::uint64_t{40'000'000} * 1024);
    EXPECT_EQ(status.memoryLoad, 75U);
}

TEST(ReadMemoryStatusTest, AMissingOrSenselessFileIsAFailure)
{
    const TestSupport::TemporaryFolder folder;
    const TestSupport::MachineTree tree(folder.Path());
    EXPECT_EQ(FailureCode(tree.Root()), static_cast<std::uint32_t>(ENOENT));
    tree.AddFile("/proc/meminfo", "nonsense\n");
    EXPECT_EQ(FailureCode(tree.Root()), static_cast<std::uint32_t>(ENODATA));
}

} // namespace
