#include "lab.vellab-servers.hpp"

#include "lab.scenario-parser.hpp"

#include <gtest/gtest.h>

namespace
{

using Lab::HostOf;
using Lab::MakeConnectorFile;
using Lab::ParseScenario;

const Lab::Net::Endpoint Cloud{"127.0.0.1", 40123};

TEST(ServersTest, TheHostOfAServerIsWhatTheAgentHandsToItsConnector)
{
    EXPECT_EQ(HostOf("https://Cloud.lab.example"), "cloud.lab.example");
    EXPECT_EQ(HostOf("\"http://a.example:8443\""), "a.example");
    EXPECT_EQ(HostOf("a.example/"), "a.example");
    EXPECT_EQ(HostOf(""), "");
}

TEST(ServersTest, EveryServerThatIsNamedIsTheCloudButForTheUnreachable)
{
    const auto file = MakeConnectorFile(
        ParseScenario(R"({"server":"https://a.example","cloud":{"unreachable":["c.example"],"registration":[)"
                      R"({"answer":"redirect","server":"b.example:8443"},{"answer":"redirect","server":"c.example"},)"
                      R"({"answer":"success"}]}})"),
        Cloud, 1);
    EXPECT_EQ(file.servers.size(), 2U);
    EXPECT_EQ(file.FindServer("a.example"), Cloud);
    EXPECT_EQ(file.FindServer("b.example"), Cloud);
    EXPECT_EQ(file.control, Cloud);
}

TEST(ServersTest, TheConnectorIsAsPatientAsTheAgentsClockIsFast)
{
    EXPECT_EQ(MakeConnectorFile({}, Cloud, 1).reconnectDelay, std::chrono::seconds(1));
    EXPECT_EQ(MakeConnectorFile({}, Cloud, 10).reconnectDelay, std::chrono::milliseconds(100));
    EXPECT_EQ(MakeConnectorFile({}, Cloud, 100'000).reconnectDelay, std::chrono::milliseconds(20));
}

} // namespace
