#include "integration.agentfixture.hpp"

#include "shared.concurrency-event.hpp"

#include <fstream>

#include <signal.h>
#include <sqlite3.h>

namespace
{

using Integration::AgentTest;
using Integration::ReadFile;
using Integration::RunResult;
using Shared::Concurrency::Event;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

constexpr const char* Fast = "--clock-speed=50";

class AgentStoreTest : public AgentTest
{
protected:
    fs::path Store() const
    {
        return Folder() / "state" / "settings.db";
    }

    /// The agent must end with 1500, name the store, and leave it as it is.
    void ExpectRefused()
    {
        const bool existed = fs::exists(Store());
        const std::string before = ReadFile(Store());
        const auto agent = StartAgent({Fast});
        const RunResult result = AwaitEnd(*agent);
        EXPECT_EQ(result.exitCode, 1500);
        EXPECT_THAT(result.output, HasSubstr("The settings store " + Store().string()));
        EXPECT_THAT(result.output, HasSubstr("AgentProcess initialisation failed "));
        EXPECT_EQ(fs::exists(Store()), existed);
        EXPECT_EQ(ReadFile(Store()), before);
    }
};

TEST_F(AgentStoreTest, AMissingStoreIsNamedAndNotMade)
{
    fs::remove(Store());
    ExpectRefused();
}

TEST_F(AgentStoreTest, AMissingFolderIsNamedAndNotMade)
{
    fs::remove_all(Store().parent_path());
    ExpectRefused();
    EXPECT_FALSE(fs::exists(Store().parent_path()));
}

TEST_F(AgentStoreTest, AStoreThatIsSomethingElseIsNamedAndLeftAlone)
{
    fs::remove(Store());
    std::ofstream(Store()) << std::string(10'000, 'x');
    ExpectRefused();
}

TEST_F(AgentStoreTest, ADamagedStoreIsNamedAndLeftAlone)
{
    const auto size = fs::file_size(Store());
    std::fstream file(Store(), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(100);
    file << std::string(static_cast<std::size_t>(size) - 100, '\x5a');
    file.close();
    ExpectRefused();
}

TEST_F(AgentStoreTest, AStoreThatIsAFolderIsNamed)
{
    fs::remove(Store());
    fs::create_directories(Store());
    const auto agent = StartAgent({Fast});
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 1500);
    EXPECT_THAT(result.output, HasSubstr("The settings store " + Store().string()));
}

TEST_F(AgentStoreTest, AStoreThatAnotherProcessLocksIsNamed)
{
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(Store().c_str(), &connection), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(connection, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    const auto agent = StartAgent({Fast});
    const RunResult result = AwaitEnd(*agent);
    sqlite3_close(connection);
    EXPECT_EQ(result.exitCode, 1500);
    EXPECT_THAT(result.output, HasSubstr("The settings store " + Store().string()));
}

TEST_F(AgentStoreTest, TheParentSeesTheLowestEightBitsAndReadsTheWholeCode)
{
    fs::remove(Store());
    const auto agent = StartAgent({Fast});
    EXPECT_EQ(AwaitEnd(*agent).exitCode, 1500);
    EXPECT_EQ(agent->GetExitStatus(), 220);
}

TEST_F(AgentStoreTest, AnAgentThatLostItsParentDuringTheStartEndsWith1500)
{
    {
        const Event stop(false, true, L"StopEvent");
    }
    const auto agent = StartAgent({Fast});
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 1500) << "the node of the event is there, but nobody holds it";
    EXPECT_THAT(result.log, HasSubstr("Failed to create or open event StopEvent"));
}

} // namespace
