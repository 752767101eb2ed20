#include "shared.system-exitcode.hpp"

#include "test.support-eventnames.hpp"

#include <cstdlib>
#include <fstream>

#include <unistd.h>

#include <gtest/gtest.h>

namespace
{

class ReportedExitCodeTest : public ::testing::Test
{
protected:
    TestSupport::EventNames m_names;
    std::uint32_t m_self = static_cast<std::uint32_t>(::getpid());
};

TEST_F(ReportedExitCodeTest, TheWholeCodeIsReadBackByTheProcessesId)
{
    for (const std::int32_t code : {0, 1001, 1500, 3500, 6500, -1})
    {
        Shared::System::ReportExitCode(code);
        EXPECT_EQ(Shared::System::ReadReportedExitCode(m_self), code);
    }
}

TEST_F(ReportedExitCodeTest, ADamagedReportIsNone)
{
    for (const char* text : {"", "x", "12", "99999999999999999999 1"})
    {
        std::ofstream(m_names.Folder() + "/exit-code", std::ios::trunc) << text;
        EXPECT_FALSE(Shared::System::ReadReportedExitCode(m_self).has_value());
    }
}

TEST_F(ReportedExitCodeTest, AFolderThatCannotBeHadIsNoReasonToFail)
{
    ::setenv("RUNTIME_DIRECTORY", "/proc/no-such-folder/x", 1);
    EXPECT_NO_FATAL_FAILURE(Shared::System::ReportExitCode(1));
    ::setenv("RUNTIME_DIRECTORY", m_names.Folder().c_str(), 1);
    EXPECT_FALSE(Shared::System::ReadReportedExitCode(m_self).has_value());
}

} // namespace
