#include "lab.control-connectorfile.hpp"

#include "test.support-temporaryfolder.hpp"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace
{

using Lab::Control::ConnectorFile;
using Lab::Control::ParseConnectorFile;
using std::chrono::milliseconds;

ConnectorFile Example()
{
    ConnectorFile file;
    file.servers["cloud.lab.example"] = {"127.0.0.1", 40123};
    file.control = {"127.0.0.1", 40124};
    file.reconnectDelay = milliseconds(250);
    return file;
}

std::string ProblemOf(const std::string& text)
{
    try
    {
        (void)ParseConnectorFile(text);
    }
    catch (const std::runtime_error& problem)
    {
        return problem.what();
    }
    return "(none)";
}

TEST(ConnectorFileTest, ComesBackFromItsText)
{
    EXPECT_EQ(ParseConnectorFile(ToText(Example())), Example());
}

TEST(ConnectorFileTest, ServersAreFoundInAnyCase)
{
    EXPECT_EQ(Example().FindServer("Cloud.LAB.example")->port, 40123);
    EXPECT_FALSE(Example().FindServer("another.lab.example").has_value());
    EXPECT_TRUE(
        ParseConnectorFile(R"({"servers":{"UPPER.example":"127.0.0.1:1"}})").FindServer("upper.example").has_value());
}

TEST(ConnectorFileTest, WithoutControlThereIsNobodyToObey)
{
    EXPECT_FALSE(ParseConnectorFile(R"({"servers":{}})").control.has_value());
}

TEST(ConnectorFileTest, EachFaultIsExplained)
{
    EXPECT_EQ(ProblemOf("{}"), "there is no object \"servers\"");
    EXPECT_EQ(ProblemOf("{"), "line 1, column 2: Missing a name for object member.");
    EXPECT_EQ(ProblemOf(R"({"servers":{"a":7}})"), "the place of the server a is no text");
    EXPECT_EQ(
        ProblemOf(R"({"servers":{"a":"b"}})"),
        "the place of the server a: \"b\" is no address with a port, as 127.0.0.1:40123 is one");
    EXPECT_EQ(ProblemOf(R"({"servers":{},"control":1})"), "the place of the laboratory is no text");
}

TEST(ConnectorFileTest, IsWrittenOverAnEarlierOneAndRead)
{
    const TestSupport::TemporaryFolder folder;
    Lab::Control::WriteConnectorFile(folder.Path(), {});
    Lab::Control::WriteConnectorFile(folder.Path(), Example());
    EXPECT_EQ(Lab::Control::ReadConnectorFile(folder.Path()), Example());
}

TEST(ConnectorFileTest, OneThatIsNotThereIsNamed)
{
    const TestSupport::TemporaryFolder folder;
    try
    {
        (void)Lab::Control::ReadConnectorFile(folder.Path());
        FAIL() << "it was read";
    }
    catch (const std::runtime_error& problem)
    {
        EXPECT_NE(std::string(problem.what()).find("connector.json"), std::string::npos);
    }
}

} // namespace
