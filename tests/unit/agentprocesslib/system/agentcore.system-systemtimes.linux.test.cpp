#include "agentcore.system-systemtimes.linux.hpp"

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

using AgentCore::System::ReadSystemTimes;
using Shared::Exception::Win32Exception;

std::uint32_t FailureCode(const std::string& root)
{
    try
    {
        ReadSystemTimes(root);
    }
    catch (const Win32Exception& exception)
    {
        EXPECT_EQ(TestSupport::BareText(exception.what()), "GetSystemTimes() failed");
        return exception.GetCode();
    }
    ADD_FAILURE() << "nothing was thrown";
    return 0;
}

TEST(ReadSystemTimesTest, ReadsTheMachinesOwnFile)
{
    const TestSupport::TemporaryFolder folder;
    const TestSupport::MachineTree tree(folder.Path());
    tree.AddFile("/proc/stat", "cpu  100 0 200 3000 0 0 0 0 0 0\n");
    const auto times = ReadSystemTimes(tree.Root());
    EXPECT_EQ(times.kernel, times.idle / 3000 * 3200);
    EXPECT_EQ(times.user, times.idle / 30);
    EXPECT_GT(times.user, 0U);
}

TEST(ReadSystemTimesTest, AMissingOrSenselessFileIsAFailure)
{
    const TestSupport::TemporaryFolder folder;
    const TestSupport::MachineTree tree(folder.Path());
    EXPECT_EQ(FailureCode(tree.Root()), static_cast<std::uint32_t>(ENOENT));
    tree.AddFile("/proc/stat", "nonsense\n");
    EXPECT_EQ(FailureCode(tree.Root()), static_cast<std::uint32_t>(ENODATA));
}

} // namespace
