#include "shared.system-exitcode.hpp"

#include "test.support-eventnames.hpp"

#include <gtest/gtest.h>

namespace
{

// EventNames gives the process a runtime directory of its own, where there is one.

TEST(ExitCodeTest, NothingIsReadOfAProcessThatLeftNothing)
{
    const TestSupport::EventNames names;
    EXPECT_FALSE(Shared::System::ReadReportedExitCode(1).has_value());
    Shared::System::ReportExitCode(7);
    EXPECT_FALSE(Shared::System::ReadReportedExitCode(1).has_value()) << "it is another process's code";
}

TEST(ExitCodeDeathTest, LeavingEndsTheProcessWithoutDestructors)
{
    struct Talker
    {
        ~Talker()
        {
            fputs("destroyed", stderr);
        }
    };

    EXPECT_EXIT(
        {
            const Talker talker;
            Shared::System::LeaveProcess(33);
        },
        ::testing::ExitedWithCode(33), "^$");
}

} // namespace
