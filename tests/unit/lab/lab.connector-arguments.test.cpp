#include "lab.connector-arguments.hpp"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace
{

using Lab::Connector::Arguments;
using Lab::Connector::ParseArguments;

std::string ProblemOf(const std::vector<std::string>& elements)
{
    try
    {
        (void)ParseArguments(elements);
    }
    catch (const std::invalid_argument& problem)
    {
        return problem.what();
    }
    return "(none)";
}

TEST(ConnectorArgumentsTest, TheFirstElementIsAnOptionAndNoProgram)
{
    EXPECT_EQ(
        ParseArguments({"-s", "cloud.lab.example", "-p", "PIPE", "-l", "LOG"}),
        (Arguments{"cloud.lab.example", "PIPE", "LOG"}));
}

TEST(ConnectorArgumentsTest, AProgramInFrontAndWhatIsUnknownArePassedOver)
{
    EXPECT_EQ(
        ParseArguments({"VELPortalProcess.exe", "-l", "LOG", "--verbose", "-p", "PIPE", "-s", "s"}),
        (Arguments{"s", "PIPE", "LOG"}));
}

TEST(ConnectorArgumentsTest, TheLastOneOfTwoHolds)
{
    EXPECT_EQ(ParseArguments({"-s", "a", "-s", "b", "-p", "P", "-l", "L"}).server, "b");
}

TEST(ConnectorArgumentsTest, WhatIsMissingIsNamed)
{
    EXPECT_EQ(ProblemOf({}), "-s is missing: the server");
    EXPECT_EQ(ProblemOf({"-s", "a", "-p", "P"}), "-l is missing: the log pipe");
    EXPECT_EQ(ProblemOf({"-s", "-p", "P", "-l", "L"}), "-s names no value for the server");
    EXPECT_EQ(ProblemOf({"-s", "a", "-l", "L", "-p"}), "-p names no value for the message pipe");
}

} // namespace
