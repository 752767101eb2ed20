#include "lab.process-functions.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lab::Process::DescendantsOf;
using Lab::Process::Entry;

std::vector<std::uint32_t> IdsOf(const std::vector<Entry>& entries)
{
    std::vector<std::uint32_t> ids;
    for (const Entry& entry : entries)
    {
        ids.push_back(entry.id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

TEST(ProcessFunctionsTest, DescendantsAreFoundThroughTheirParentsInAnyOrder)
{
    const std::vector<Entry> all = {{5, 4, ""}, {4, 2, ""}, {2, 1, ""}, {3, 1, ""}, {7, 6, ""}, {1, 0, ""}};
    EXPECT_EQ(IdsOf(DescendantsOf(2, all)), (std::vector<std::uint32_t>{4, 5}));
    EXPECT_EQ(IdsOf(DescendantsOf(1, all)), (std::vector<std::uint32_t>{2, 3, 4, 5}));
    EXPECT_TRUE(DescendantsOf(7, all).empty());
}

TEST(ProcessFunctionsTest, ARingOfParentsEndsTheSearch)
{
    const std::vector<Entry> all = {{1, 2, ""}, {2, 1, ""}, {0, 0, ""}};
    EXPECT_EQ(IdsOf(DescendantsOf(1, all)), std::vector<std::uint32_t>{2});
    EXPECT_TRUE(DescendantsOf(0, all).empty());
}

TEST(ProcessFunctionsTest, ThisProcessIsListedWithItsProgram)
{
    const std::vector<Entry> all = Lab::Process::List();
    const auto self =
        std::find_if(all.begin(), all.end(), [](const Entry& entry) { return entry.id == Lab::Process::OwnId(); });
    ASSERT_NE(self, all.end());
    EXPECT_EQ(self->program.stem(), "lab_test");
    EXPECT_TRUE(Lab::Process::HasName(*self, self->program.filename().string()));
    EXPECT_FALSE(Lab::Process::HasName(*self, "another"));
}

TEST(ProcessFunctionsTest, NamesAreComparedWithoutRegardToCase)
{
    EXPECT_TRUE(Lab::Process::HasName({1, 0, "velportalprocess.EXE"}, "VELPortalProcess.exe"));
}

TEST(ProcessFunctionsTest, AProcessThatIsNotThereIsNotKilled)
{
    EXPECT_FALSE(Lab::Process::Kill({0x7FFF'FFF0, 1, "nobody"}));
}

TEST(ProcessFunctionsTest, OneThatHasTheIdOfAnotherIsNotKilled)
{
    EXPECT_FALSE(Lab::Process::Kill({Lab::Process::OwnId(), 1, "somebody-else"}));
}

} // namespace
