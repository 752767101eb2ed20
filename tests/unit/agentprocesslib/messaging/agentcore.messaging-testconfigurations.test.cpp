#include "agentcore.messaging-testconfigurations.hpp"

#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using namespace AgentCore::Messaging;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

MtrTest EteTest(const std::string& id, const std::string& netobj)
{
    MtrTest test;
    test.key = "/config/ete/" + id;
    test.id = id;
    test.netobj = netobj;
    test.l4Protocol = "tcp";
    test.port = 443;
    test.interval = 60;
    return test;
}

std::vector<std::wstring> Targets(const std::vector<TestConfiguration>& configurations)
{
    std::vector<std::wstring> targets;
    for (const TestConfiguration& configuration : configurations)
    {
        targets.push_back(configuration.testKey + L" " + configuration.target);
    }
    return targets;
}

TEST(BuildTestConfigurationsTest, EachAddressOfATestHasOne)
{
    const std::vector<NetworkObject> objects = {
        {"n1", "u1", "Mail", {"mail.example", "\u00fc.example"}, {"10.0.0.1"}}, {"n2", "u2", "", {}, {"::1"}}};
    CurlTest curl;
    curl.netobj = "u2";
    const std::vector<MtrTest> tests = {EteTest("b", "u2"), EteTest("a", "u1")};
    const auto configurations = BuildTestConfigurations(tests, {curl}, objects);
    EXPECT_EQ(
        configurations,
        (std::vector<TestConfiguration>{
            {tests[0], L"::1", L"u2", L"b", L"tcp", 443, true},
            {tests[1], L"mail.example", L"u1", L"a", L"tcp", 443, false},
            {tests[1], L"\u00fc.example", L"u1", L"a", L"tcp", 443, false},
            {tests[1], L"10.0.0.1", L"u1", L"a", L"tcp", 443, false}}));
}

TEST(BuildTestConfigurationsTest, ATestWithoutItsNetworkObjectHasNone)
{
    const std::vector<NetworkObject> objects = {{"gone", "u1", "", {"a"}, {}}};
    EXPECT_THAT(
        Targets(
            BuildTestConfigurations({EteTest("t1", "gone"), EteTest("t2", "U1"), EteTest("t3", "u1")}, {}, objects)),
        ElementsAre(L"t3 a"));
    EXPECT_THAT(BuildTestConfigurations({EteTest("t1", "u1")}, {}, {}), IsEmpty());
    EXPECT_THAT(BuildTestConfigurations({}, {}, objects), IsEmpty());
}

TEST(BuildTestConfigurationsTest, AnObjectWithoutAddressesGivesNone)
{
    EXPECT_THAT(BuildTestConfigurations({EteTest("t1", "u1")}, {}, {{"n1", "u1", "", {}, {}}}), IsEmpty());
}

TEST(BuildTestConfigurationsTest, TestsAndAddressesThatMultiplyBeyondMeasureAreLeftOutAndSaidSo)
{
    // Two megabytes for each address.
    const MtrTest large = EteTest(std::string(200'000, 'x'), "u1");
    const std::vector<NetworkObject> objects = {{"n1", "u1", "", std::vector<std::string>(1000, "address"), {}}};
    const TestSupport::CapturedLog log;
    const auto configurations = BuildTestConfigurations({large, EteTest("small", "u1")}, {}, objects);
    EXPECT_LT(configurations.size(), 1200U);
    EXPECT_EQ(log.Count(Shared::Log::Level::Warning, "The ETE tests have too many addresses: "), 1U);
    EXPECT_EQ(
        log.Count(
            Shared::Log::Level::Warning,
            std::to_string(configurations.size()) + " of them are tested, and " +
                std::to_string(2000 - configurations.size()) + " are not"),
        1U);
}

TEST(BuildTestConfigurationsTest, OfObjectsWithTheSameUuidTheFirstCounts)
{
    const std::vector<NetworkObject> objects = {{"n1", "u1", "", {"first"}, {}}, {"n2", "u1", "", {"second"}, {}}};
    EXPECT_THAT(Targets(BuildTestConfigurations({EteTest("t1", "u1")}, {}, objects)), ElementsAre(L"t1 first"));
}

} // namespace
