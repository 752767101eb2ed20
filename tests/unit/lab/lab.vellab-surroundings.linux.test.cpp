#include "lab.vellab-surroundings.hpp"

#include "test.support-temporaryfolder.hpp"

#include <filesystem>

#include <gtest/gtest.h>

#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

TEST(SurroundingsTest, AFolderThatIsClosedToOtherAccountsIsFoundOnTheWay)
{
    const TestSupport::TemporaryFolder folder;
    const fs::path closed = folder.Path() / "closed";
    const fs::path inner = closed / "inner";
    fs::create_directories(inner);
    fs::permissions(folder.Path(), fs::perms::others_exec, fs::perm_options::add);
    fs::permissions(closed, fs::perms::others_exec, fs::perm_options::add);
    EXPECT_EQ(Lab::FindClosedFolder(inner), fs::path());
    fs::permissions(closed, fs::perms::owner_all);
    const bool changesAccounts = ::geteuid() == 0;
    EXPECT_EQ(Lab::FindClosedFolder(inner), changesAccounts ? closed : fs::path()) << "who is no root stays who he is";
    EXPECT_EQ(Lab::FindClosedFolder(closed), changesAccounts ? closed : fs::path());
}

} // namespace
