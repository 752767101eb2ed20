#include "agentcore.messaging-objectgenerator.hpp"

#include "agentcore.messaging-testconfigurations.hpp"
#include "messaging.loglines.hpp"
#include "test.support-exceptions.hpp"

#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using namespace AgentCore::Messaging;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Key;
using ::testing::Pair;
using ::testing::SizeIs;
using TestSupport::LinesWithLevels;
using TestSupport::RuntimeText;

constexpr std::string_view Uuid = "6b29fc40-ca47-1067-b31d-00dd010662da";

std::string Answer(std::string_view values)
{
    return R"({"success":true,"values":)" + std::string(values) + "}";
}

/// An answer with those entries for one owner, which is not the agent.
std::string AnswerOfAccount(std::string_view entries)
{
    return Answer(R"({"account-7":)" + std::string(entries) + "}");
}

std::string AnswerOfAgent(std::string_view entries)
{
    return Answer("{\"" + std::string(Uuid) + "\":" + std::string(entries) + "}");
}

Config::Test MakeTest(bool enabled, std::int32_t priority)
{
    Config::Test test;
    test.set_enabled(enabled);
    test.set_priority(priority);
    return test;
}

/// Everything that the functions fill, for an agent whose user is "anna" in the group "staff", with the tag "red".
class ObjectGeneratorTest : public ::testing::Test
{
protected:
    ObjectGeneratorTest()
    {
        m_userGroups.add_groups("staff");
        m_tags = {{"/config/tags/red", "", "red"}};
        for (const std::string kind : {"mtr", "ete", "curl"})
        {
            m_tests["/config/" + kind + "/t1"] = MakeTest(true, 1);
            m_tests["/config/" + kind + "/t2"] = MakeTest(true, 2);
            m_tests["/config/" + kind + "/off"] = MakeTest(false, 0);
        }
    }

    void ProcessNetworkObjects(const std::string& payload)
    {
        Log([&] { ProcessNetworkObjectConfigMessage(payload, m_networkObjects); });
    }

    void ProcessTests(const std::string& payload, std::string_view uuid = Uuid)
    {
        Log([&] { ProcessTestsConfigMessage(payload, uuid, m_tests); });
    }

    void ProcessTags(const std::string& payload, std::string_view uuid = Uuid)
    {
        Log([&] { ProcessTagConfigMessage(payload, m_tags, uuid); });
    }

    void ProcessMtr(const std::string& payload)
    {
        Log([&] { ProcessMtrConfigMessage(payload, m_mtrTests, Anna()); });
    }

    void ProcessEte(const std::string& payload)
    {
        Log([&] { ProcessEteConfigMessage(payload, m_eteTests, Anna()); });
    }

    void ProcessCurl(const std::string& payload)
    {
        Log([&] { ProcessCurlConfigMessage(payload, m_curlTests, Anna()); });
    }

    SelectionSubject Anna() const
    {
        return {m_tests, m_userGroups, m_tags, Uuid, "anna"};
    }

    /// Calls `process` with the log captured.
    void Log(const std::function<void()>& process)
    {
        const TestSupport::CapturedLog log;
        process();
        m_lines = LinesWithLevels(log);
    }

    /// Something in every target, so that what is left in it shows.
    void FillTargets()
    {
        m_networkObjects.resize(1);
        m_mtrTests.resize(1);
        m_eteTests.resize(1);
        m_curlTests.resize(1);
        m_tags.resize(1);
        m_tests["old"];
    }

    /// Each function with the payload, and how many records are then in its target.
    struct Function
    {
        std::string name;
        std::function<void(const std::string&)> process;
        std::function<std::size_t()> count;
    };

    std::vector<Function> Functions()
    {
        return {
            {"network objects", [this](const auto& text) { ProcessNetworkObjects(text); },
             [this]
             {
                 return m_networkObjects.size();
             }},
            {"MTR", [this](const auto& text) { ProcessMtr(text); },
             [this]
             {
                 return m_mtrTests.size();
             }},
            {"ETE", [this](const auto& text) { ProcessEte(text); },
             [this]
             {
                 return m_eteTests.size();
             }},
            {"Curl", [this](const auto& text) { ProcessCurl(text); },
             [this]
             {
                 return m_curlTests.size();
             }},
            {"tags", [this](const auto& text) { ProcessTags(text); },
             [this]
             {
                 return m_tags.size();
             }},
            {"tests", [this](const auto& text) { ProcessTests(text); },
             [this]
             {
                 return m_tests.size();
             }}};
    }

    TestMap m_tests;
    std::vector<NetworkObject> m_networkObjects;
    std::vector<Tag> m_tags;
    std::vector<MtrTest> m_mtrTests;
    std::vector<MtrTest> m_eteTests;
    std::vector<CurlTest> m_curlTests;
    UserGroups m_userGroups;
    std::vector<std::string> m_lines;
};

// What all have in common

TEST_F(ObjectGeneratorTest, TextThatIsNotJsonIsRefusedAndLeavesTheTargetEmpty)
{
    for (const std::string payload :
         {"", "nonsense", "{", R"({"success":true,"values":{}} x)", "{\"success\":true,\"values\":{\"\xFF\":1}}"})
    {
        for (const Function& function : Functions())
        {
            FillTargets();
            EXPECT_EQ(
                RuntimeText([&] { function.process(payload); }),
                "rapidJSON encountered a parse error on string ==> " + payload)
                << function.name;
            EXPECT_EQ(function.count(), 0U) << function.name;
        }
    }
}

TEST_F(ObjectGeneratorTest, AnAnswerWithoutSuccessIsRefusedButForTheNetworkObjects)
{
    for (const std::string payload :
         {R"({"values":{"a":{"b":{"name":"n"}}}})", R"({"success":null,"values":{"a":{"b":{"name":"n"}}}})",
          R"({"success":"true","values":{"a":{"b":{"name":"n"}}}})"})
    {
        ProcessNetworkObjects(payload);
        EXPECT_EQ(m_networkObjects.size(), 1U);
        for (const Function& function : Functions())
        {
            FillTargets();
            if (function.name != "network objects")
            {
                EXPECT_EQ(RuntimeText([&] { function.process(payload); }), "Nullable is null") << function.name;
                EXPECT_EQ(function.count(), 0U) << function.name;
            }
        }
    }
}

TEST_F(ObjectGeneratorTest, AnErrorOfTheServerIsLoggedAndLeavesTheTargetEmpty)
{
    struct Case
    {
        std::string name;
        std::string start;
        std::string text;
    };

    const std::vector<Case> cases = {
        {"tests", "info: Caching Tests config...",
         "warning: Server responded with an error when attempting to retrieve Agent config"},
        {"tags", "info: Caching tag config...",
         "warning: ObjectGenerator::ProcessTagConfigMessage(): error processing tag config"},
        {"MTR", "info: Caching MTR config...",
         "warning: ObjectGenerator::ProcessMtrConfigMessage(): error processing MTR config"},
        {"ETE", "info: Caching ETE config...",
         "warning: ObjectGenerator::ProcessEteConfigMessage(): error processing ete config"},
        {"Curl", "info: Caching Curl config...",
         "warning: ObjectGenerator::ProcessCurlConfigMessage(): error processing Curl config"}};
    const std::string values = R"("values":{"6b29fc40-ca47-1067-b31d-00dd010662da":{"t1":)"
                               R"({"netobj":"n","tags":["/config/tags/red"],"users":[],"groups":[]},)"
                               R"("/config/tests":{"x":{"enabled":true}}}})";
    const auto functions = Functions();
    for (const Case& each : cases)
    {
        for (const Function& function : functions)
        {
            if (function.name == each.name)
            {
                FillTargets();
                function.process(R"({"success":false,)" + values + "}");
                EXPECT_THAT(m_lines, ElementsAre(each.start, each.text));
                EXPECT_EQ(function.count(), 0U);
                FillTargets();
                function.process(R"({"error":"the reason","success":false,)" + values + "}");
                EXPECT_THAT(m_lines, ElementsAre(each.start, each.text + ": the reason"));
                EXPECT_EQ(function.count(), 0U);
            }
        }
    }
}

TEST_F(ObjectGeneratorTest, ValuesThatAreNotWhatTheyShouldBeGiveAnEmptyList)
{
    for (const std::string values :
         {"{}", "null", "[]", "[{\"a\":{\"name\":\"n\"}}]", "7", "\"text\"", R"({"a":null})", R"({"a":[{"name":"n"}]})",
          R"({"a":7,"b":{"t1":{"name":"n"}}})", R"({"6b29fc40-ca47-1067-b31d-00dd010662da":[]})"})
    {
        for (const Function& function : Functions())
        {
            FillTargets();
            function.process(Answer(values));
            EXPECT_EQ(function.count(), 0U) << function.name << " " << values;
        }
    }
    for (const Function& function : Functions())
    {
        FillTargets();
        function.process(R"({"success":true})");
        EXPECT_EQ(function.count(), 0U) << function.name;
    }
}

TEST_F(ObjectGeneratorTest, EveryListSaysHowManyThereAreAlsoWhenThereAreNone)
{
    ProcessNetworkObjects(R"({"success":true})");
    EXPECT_THAT(m_lines, ElementsAre("info: Caching network object config...", "info: Cached 0 network objects."));
    ProcessMtr(R"({"success":true})");
    EXPECT_THAT(
        m_lines, ElementsAre("info: Caching MTR config...", "info: Cached 0 MTR objects, skipped 0 MTR objects."));
    ProcessEte(R"({"success":true})");
    EXPECT_THAT(
        m_lines, ElementsAre("info: Caching ETE config...", "info: Cached 0 ETE objects, skipped 0 ETE objects."));
    ProcessCurl(R"({"success":true})");
    EXPECT_THAT(
        m_lines, ElementsAre("info: Caching Curl config...", "info: Cached 0 Curl objects, skipped 0 Curl objects."));
    ProcessTags(R"({"success":true})");
    EXPECT_THAT(m_lines, ElementsAre("info: Caching tag config...", "info: Cached 0 tag objects."));
}

TEST_F(ObjectGeneratorTest, OfTwoOwnersTheListsReadTheFirstAndTheTagsTheAgents)
{
    const std::string test = R"({"netobj":"n","tags":["/config/tags/red"],"users":[],"groups":[]})";
    const std::string payload = Answer(
        R"({"another":{"t1":)" + test + R"(,"n1":{"name":"first"}},"6b29fc40-ca47-1067-b31d-00dd010662da":{"t2":)" +
        test + R"(,"n2":{"name":"second"}}})");
    ProcessNetworkObjects(payload);
    ASSERT_THAT(m_networkObjects, SizeIs(1));
    EXPECT_EQ(m_networkObjects[0].id, "n1");
    ProcessMtr(payload);
    ASSERT_THAT(m_mtrTests, SizeIs(1));
    EXPECT_EQ(m_mtrTests[0].id, "t1");
    ProcessEte(payload);
    ASSERT_THAT(m_eteTests, SizeIs(1));
    EXPECT_EQ(m_eteTests[0].id, "t1");
    ProcessCurl(payload);
    ASSERT_THAT(m_curlTests, SizeIs(1));
    EXPECT_EQ(m_curlTests[0].id, "t1");
    ProcessTags(payload);
    ASSERT_THAT(m_tags, SizeIs(2));
    EXPECT_EQ(m_tags[0].id, "t2");
}

TEST_F(ObjectGeneratorTest, DeepNestingNeitherCrashesNorHangs)
{
    constexpr std::size_t Depth = 100'000;
    std::string deep;
    for (std::size_t i = 0; i < Depth; ++i)
    {
        deep += R"({"a":)";
    }
    deep += "1" + std::string(Depth, '}');
    for (const Function& function : Functions())
    {
        FillTargets();
        function.process(Answer(deep));
        EXPECT_EQ(function.count(), 0U) << function.name;
        function.process(AnswerOfAgent(R"({"t1":)" + deep + R"(,"/config/tests":{"x":)" + deep + R"(,"y":{}}})"));
        EXPECT_EQ(function.count(), function.name == "tags" ? 2U : function.name == "tests" ? 1U : 0U) << function.name;
    }
}

// Network objects

TEST_F(ObjectGeneratorTest, ANetworkObjectIsReadWhole)
{
    ProcessNetworkObjects(AnswerOfAccount(
        R"({"n1":{"uuid":"u1","name":"Mail","domains":["a.example","b.example"],"ips":["10.0.0.1","::1"],"more":[1]},)"
        R"("n2":{"name":""}})"));
    EXPECT_EQ(
        m_networkObjects,
        (std::vector<NetworkObject>{
            {"n1", "u1", "Mail", {"a.example", "b.example"}, {"10.0.0.1", "::1"}}, {"n2", "", "", {}, {}}}));
    EXPECT_THAT(m_lines, ElementsAre("info: Caching network object config...", "info: Cached 2 network objects."));
}

TEST_F(ObjectGeneratorTest, ANetworkObjectWithoutANameIsSkippedInSilence)
{
    ProcessNetworkObjects(AnswerOfAccount(
        R"({"n1":{"uuid":"u1"},"n2":{"name":null},"n3":{"name":5},"n4":"name","n5":["name"],"n6":null,"n7":{"name":"x"}})"));
    ASSERT_THAT(m_networkObjects, SizeIs(1));
    EXPECT_EQ(m_networkObjects[0].id, "n7");
    EXPECT_THAT(m_lines, ElementsAre("info: Caching network object config...", "info: Cached 1 network objects."));
}

TEST_F(ObjectGeneratorTest, ARepeatedAddressIsLeftOutWithAWarning)
{
    ProcessNetworkObjects(AnswerOfAccount(
        R"({"n1":{"name":"Mail","uuid":"u1","domains":["a","b","a"],"ips":["1.1.1.1","1.1.1.1","a","1.1.1.1"]}})"));
    ASSERT_THAT(m_networkObjects, SizeIs(1));
    EXPECT_THAT(m_networkObjects[0].domains, ElementsAre("a", "b"));
    EXPECT_THAT(m_networkObjects[0].ips, ElementsAre("1.1.1.1", "a"));
    EXPECT_THAT(
        m_lines,
        ElementsAre(
            "info: Caching network object config...",
            "warning: Detected a duplicate domain value a on network object u1",
            "warning: Detected a duplicate IP value 1.1.1.1 on network object u1",
            "warning: Detected a duplicate IP value 1.1.1.1 on network object u1", "info: Cached 1 network objects."));
}

TEST_F(ObjectGeneratorTest, WhatIsNoAddressInAListIsPassedOver)
{
    ProcessNetworkObjects(AnswerOfAccount(
        R"({"n1":{"name":"Mail","uuid":7,"domains":[1,null,"a",["b"]],"ips":{"x":"1.1.1.1"}},"n2":{"name":"","ips":"x"}})"));
    EXPECT_EQ(m_networkObjects, (std::vector<NetworkObject>{{"n1", "", "Mail", {"a"}, {}}, {"n2", "", "", {}, {}}}));
}

TEST_F(ObjectGeneratorTest, ANetworkObjectIdThatComesTwiceGivesTwoRecords)
{
    ProcessNetworkObjects(AnswerOfAccount(R"({"n1":{"name":"a"},"":{"name":"b"},"n1":{"name":"c"}})"));
    ASSERT_THAT(m_networkObjects, SizeIs(3));
    EXPECT_EQ(m_networkObjects[1].id, "");
    EXPECT_EQ(m_networkObjects[2].name, "c");
}

TEST_F(ObjectGeneratorTest, TheNetworkObjectsMakeNoSuccessCheck)
{
    ProcessNetworkObjects(R"({"success":false,"error":"x","values":{"a":{"n1":{"name":"n"}}}})");
    EXPECT_THAT(m_networkObjects, SizeIs(1));
    EXPECT_THAT(m_lines, ElementsAre("info: Caching network object config...", "info: Cached 1 network objects."));
    ProcessNetworkObjects("[1]");
    EXPECT_THAT(m_networkObjects, IsEmpty());
}

// Tests

TEST_F(ObjectGeneratorTest, TheTestsAreFoundUnderTheAgent)
{
    ProcessTests(Answer(
        R"({"another":{"/config/tests":{"no":{"enabled":true}}},"6b29fc40-ca47-1067-b31d-00dd010662da":{"/config/tests":)"
        R"({"/config/mtr/b":{"enabled":true,"priority":7},"/config/curl/a":{"enabled":false,"priority":-3},"":{}}}})"));
    ASSERT_THAT(m_tests, ElementsAre(Key(""), Key("/config/curl/a"), Key("/config/mtr/b")));
    EXPECT_FALSE(m_tests.at("").enabled());
    EXPECT_EQ(m_tests.at("").priority(), 0);
    EXPECT_EQ(m_tests.at("/config/curl/a").priority(), -3);
    EXPECT_TRUE(m_tests.at("/config/mtr/b").enabled());
    EXPECT_EQ(m_tests.at("/config/mtr/b").priority(), 7);
    EXPECT_THAT(m_lines, ElementsAre("info: Caching Tests config...", "info: Cached 3 Test objects"));
}

TEST_F(ObjectGeneratorTest, UnknownKeysOfATestAreIgnoredAndABadTestIsSkippedInSilence)
{
    ProcessTests(AnswerOfAgent(
        R"({"/config/tests":{"a":{"enabled":true,"new":{"x":[1]}},"b":{"enabled":"maybe"},"c":{"priority":4294967296},)"
        R"("d":7,"e":[],"f":"text","g":{"priority":1.5},"h":{"enabled":null,"priority":"12"},"i":true}})"));
    EXPECT_THAT(m_tests, ElementsAre(Key("a"), Key("h")));
    EXPECT_EQ(m_tests.at("h").priority(), 12);
    EXPECT_THAT(m_lines, ElementsAre("info: Caching Tests config...", "info: Cached 2 Test objects"));
}

TEST_F(ObjectGeneratorTest, OfATestThatComesTwiceTheFirstStays)
{
    ProcessTests(AnswerOfAgent(
        R"({"/config/tests":{"a":{"priority":1},"a":{"priority":2},"b":{"enabled":1},"b":{"priority":3}}})"));
    EXPECT_EQ(m_tests.at("a").priority(), 1);
    EXPECT_EQ(m_tests.at("b").priority(), 3);
    EXPECT_THAT(m_lines, Contains("info: Cached 2 Test objects"));
}

TEST_F(ObjectGeneratorTest, TestsThatAreNotFoundAreToldWithTheirPointer)
{
    for (const std::string& payload :
         {Answer("{}"), std::string(R"({"success":true})"), AnswerOfAgent("{}"), AnswerOfAgent(R"({"tests":{}})"),
          AnswerOfAccount(R"({"/config/tests":{"a":{}}})")})
    {
        m_tests["old"];
        ProcessTests(payload);
        EXPECT_THAT(m_tests, IsEmpty()) << payload;
        EXPECT_THAT(
            m_lines,
            ElementsAre(
                "info: Caching Tests config...",
                "warning: No member /values/6b29fc40-ca47-1067-b31d-00dd010662da/~1config~1tests found for test config"))
            << payload;
    }
}

TEST_F(ObjectGeneratorTest, TestsThatAreNoObjectAreNone)
{
    for (const std::string tests : {"null", "[]", "7", R"([{"enabled":true}])"})
    {
        ProcessTests(AnswerOfAgent(R"({"/config/tests":)" + tests + "}"));
        EXPECT_THAT(m_lines, ElementsAre("info: Caching Tests config...", "info: Cached 0 Test objects"));
    }
}

TEST_F(ObjectGeneratorTest, AnAgentWithAStrangeNameIsFoundToo)
{
    const std::string values = R"({"a~/b":{"/config/tests":{"x":{}},"t":"v"}})";
    ProcessTests(Answer(values), "a~/b");
    EXPECT_THAT(m_tests, SizeIs(1));
    ProcessTags(Answer(values), "a~/b");
    EXPECT_THAT(m_tags, SizeIs(2));
}

// Tags

TEST_F(ObjectGeneratorTest, TheTagsOfTheAgentAreRead)
{
    ProcessTags(Answer(
        R"({"another":{"x":"y"},"6b29fc40-ca47-1067-b31d-00dd010662da":{"t1":"Berlin","t2":"","":"e","t3":5,"t1":"B"}})"));
    EXPECT_EQ(
        m_tags,
        (std::vector<Tag>{
            {"/config/tags/t1", "Berlin", "t1"},
            {"/config/tags/t2", "", "t2"},
            {"/config/tags/", "e", ""},
            {"/config/tags/t3", "", "t3"},
            {"/config/tags/t1", "B", "t1"}}));
    EXPECT_THAT(m_lines, ElementsAre("info: Caching tag config...", "info: Cached 5 tag objects."));
}

TEST_F(ObjectGeneratorTest, TheAgentIsComparedByteByByte)
{
    ProcessTags(Answer(R"({"6B29FC40-CA47-1067-B31D-00DD010662DA":{"t1":"v"}})"));
    EXPECT_THAT(m_tags, IsEmpty());
    EXPECT_THAT(m_lines, ElementsAre("info: Caching tag config...", "info: Cached 0 tag objects."));
}

// MTR, ETE and Curl

/// Members that make a test meant for the agent.
constexpr std::string_view Meant = R"("tags":["/config/tags/red"],"users":[],"groups":[])";

TEST_F(ObjectGeneratorTest, AnMtrTestIsReadWhole)
{
    ProcessMtr(AnswerOfAccount(
        R"({"t1":{"netobj":"u1","mu_run_tests_from_trusted_networks":true,)"
        R"("mu_run_tests_from_untrusted_networks_with_vpn_disabled":true,"rn_run_tests_on_active_paths_only":true,)"
        R"("mtr":{"l4_protocol":"tcp","port":443,"report_cycles":10,"interval":5000000000,"split_tunnel":false},)" +
        std::string(Meant) + "}}"));
    EXPECT_EQ(
        m_mtrTests,
        (std::vector<MtrTest>{{"/config/mtr/t1", "t1", "u1", "tcp", 443, 10, 5'000'000'000, true, true, true}}));
    EXPECT_THAT(
        m_lines, ElementsAre("info: Caching MTR config...", "info: Cached 1 MTR objects, skipped 0 MTR objects."));
}

TEST_F(ObjectGeneratorTest, AnEteTestHasItsInnerObjectUnderMtrToo)
{
    ProcessEte(AnswerOfAccount(
        R"({"t1":{"netobj":"u1","mtr":{"l4_protocol":"icmp","port":1,"report_cycles":2,"interval":3},"ete":{"port":9},)" +
        std::string(Meant) + "}}"));
    EXPECT_EQ(m_eteTests, (std::vector<MtrTest>{{"/config/ete/t1", "t1", "u1", "icmp", 1, 2, 3}}));
}

TEST_F(ObjectGeneratorTest, ACurlTestIsReadWhole)
{
    ProcessCurl(AnswerOfAccount(
        R"({"t1":{"netobj":"u1","mu_run_tests_from_trusted_networks":true,)"
        R"("mu_run_tests_from_untrusted_networks_with_vpn_disabled":true,"rn_run_tests_on_active_paths_only":true,)"
        R"("curl":{"protocol":"https","path":"/health","ignore_ssl":true,"success":["200","3xx"],)"
        R"("headers":["A: b"],"port":8443},)" +
        std::string(Meant) + "}}"));
    EXPECT_EQ(
        m_curlTests,
        (std::vector<CurlTest>{
            {"/config/curl/t1",
             "t1",
             "u1",
             "https",
             "/health",
             true,
             {"200", "3xx"},
             {"A: b"},
             8443,
             true,
             true,
             true}}));
}

TEST_F(ObjectGeneratorTest, WhatIsMissingInATestIsZeroEmptyOrFalse)
{
    for (const std::string inner :
         {"", R"("mtr":{},"curl":{},)", R"("mtr":null,"curl":7,)",
          R"("mtr":{"l4_protocol":4,"port":"443","report_cycles":1.5,"interval":true},)"
          R"("curl":{"protocol":1,"path":[],"ignore_ssl":"true","success":"200","headers":{},"port":null},)",
          R"("mtr":{"port":2147483648,"report_cycles":-2147483649,"interval":9223372036854775808},)"
          R"("curl":{"port":1e3,"success":[200],"headers":[null]},"mu_run_tests_from_trusted_networks":1,)"})
    {
        const std::string payload = AnswerOfAccount(R"({"t1":{"netobj":"u1",)" + inner + std::string(Meant) + "}}");
        ProcessMtr(payload);
        EXPECT_EQ(m_mtrTests, (std::vector<MtrTest>{{"/config/mtr/t1", "t1", "u1", "", 0, 0, 0}})) << inner;
        ProcessCurl(payload);
        EXPECT_EQ(m_curlTests, (std::vector<CurlTest>{{"/config/curl/t1", "t1", "u1", "", "", false, {}, {}, 0}}))
            << inner;
    }
}

TEST_F(ObjectGeneratorTest, NumbersAtTheEndsOfTheirRangeAreKept)
{
    ProcessMtr(AnswerOfAccount(
        R"({"t1":{"netobj":"u1","mtr":{"port":-2147483648,"report_cycles":2147483647,"interval":-9223372036854775808},)" +
        std::string(Meant) + "}}"));
    ASSERT_THAT(m_mtrTests, SizeIs(1));
    EXPECT_EQ(m_mtrTests[0].port, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(m_mtrTests[0].reportCycles, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(m_mtrTests[0].interval, std::numeric_limits<std::int64_t>::min());
}

TEST_F(ObjectGeneratorTest, TestsAreFilteredCountedAndSorted)
{
    const std::string meant = R"({"netobj":"u1",)" + std::string(Meant) + "}";
    const std::string payload = AnswerOfAccount(
        R"({"t2":)" + meant + R"(,"x":{"tags":[]},"off":)" + meant + R"(,"unknown":)" + meant +
        R"(,"y":{"netobj":"u1","tags":[],"users":[],"groups":[]},"split":{"netobj":"u","tags":[],"mtr":{"split_tunnel":true}},)"
        R"("t1":{"netobj":"u2","tags":[],"users":["ANNA"],"groups":[]}})");
    const auto check = [this](const std::string& name, const std::string& prefix, const auto& list)
    {
        ASSERT_THAT(list, SizeIs(2)) << name;
        EXPECT_EQ(list[0].key, prefix + "t1");
        EXPECT_EQ(list[1].key, prefix + "t2");
        EXPECT_THAT(
            m_lines,
            ElementsAre(
                "info: Caching " + name + " config...",
                "warning: Ignored test " + prefix + "x due to missing netobj field",
                "warning: Ignored test " + prefix + "off as it's disabled",
                "warning: Ignored test " + prefix + "y as it failed tags/instances and usergroups test.",
                "info: Ignoring split-tunnel MTR test " + prefix + "split",
                "info: User ANNA matched for test " + prefix + "t1.",
                "info: Cached 3 " + name + " objects, skipped 4 " + name + " objects.",
                EndsWith(" ---> Discarding test " + prefix + "unknown as it was not found in the test config map")));
    };
    ProcessMtr(payload);
    check("MTR", "/config/mtr/", m_mtrTests);
    ProcessEte(payload);
    check("ETE", "/config/ete/", m_eteTests);
    ProcessCurl(payload);
    check("Curl", "/config/curl/", m_curlTests);
}

TEST_F(ObjectGeneratorTest, WithoutTheMapOfTestsEveryTestPassesTheFilterAndIsThenDiscarded)
{
    m_tests.clear();
    ProcessMtr(AnswerOfAccount(R"({"t1":{"netobj":"u1",)" + std::string(Meant) + "}}"));
    EXPECT_THAT(m_mtrTests, IsEmpty());
    ASSERT_THAT(m_lines, SizeIs(3));
    EXPECT_EQ(m_lines[1], "info: Cached 1 MTR objects, skipped 0 MTR objects.");
    EXPECT_THAT(m_lines[2], HasSubstr("Discarding test /config/mtr/t1 as it was not found in the test config map"));
}

TEST_F(ObjectGeneratorTest, ATestIdThatComesTwiceGivesTwoRecords)
{
    const auto test = [](const std::string& object)
    {
        return R"("t1":{"netobj":")" + object + "\"," + std::string(Meant) + "}";
    };
    ProcessMtr(AnswerOfAccount("{" + test("u1") + "," + test("u2") + "}"));
    ASSERT_THAT(m_mtrTests, SizeIs(2));
    EXPECT_EQ(m_mtrTests[0].netobj, "u1");
    EXPECT_EQ(m_mtrTests[1].netobj, "u2");
}

TEST_F(ObjectGeneratorTest, ATestWithoutAnIdIsATestLikeAnyOther)
{
    m_tests["/config/curl/"] = MakeTest(true, 0);
    ProcessCurl(AnswerOfAccount(R"({"":{"netobj":"u1",)" + std::string(Meant) + "}}"));
    ASSERT_THAT(m_curlTests, SizeIs(1));
    EXPECT_EQ(m_curlTests[0].key, "/config/curl/");
    EXPECT_EQ(m_curlTests[0].id, "");
}

TEST_F(ObjectGeneratorTest, EveryAnswerReplacesWhatTheOneBeforeLeft)
{
    const std::string test = R"({"netobj":"u1",)" + std::string(Meant) + "}";
    ProcessMtr(AnswerOfAccount(R"({"t1":)" + test + R"(,"t2":)" + test + "}"));
    EXPECT_THAT(m_mtrTests, SizeIs(2));
    ProcessMtr(AnswerOfAccount(R"({"t2":)" + test + "}"));
    ASSERT_THAT(m_mtrTests, SizeIs(1));
    EXPECT_EQ(m_mtrTests[0].id, "t2");
}

TEST_F(ObjectGeneratorTest, AnObjectWhoseUuidIsABookIsNamedByItsBeginning)
{
    const std::string uuid(10'000, 'u');
    ProcessNetworkObjects(AnswerOfAccount(R"({"n1":{"name":"","uuid":")" + uuid + R"(","ips":["a","a"]}})"));
    ASSERT_THAT(m_networkObjects, SizeIs(1));
    EXPECT_EQ(m_networkObjects[0].uuid, uuid);
    EXPECT_THAT(
        m_lines, Contains(EndsWith("Detected a duplicate IP value a on network object " + std::string(200, 'u'))));
}

// The addresses of the end-to-end tests

TEST_F(ObjectGeneratorTest, AnEteTestWhoseNetworkObjectIsMissingStaysInItsList)
{
    ProcessEte(AnswerOfAccount(R"({"t1":{"netobj":"nowhere",)" + std::string(Meant) + "}}"));
    EXPECT_THAT(m_eteTests, SizeIs(1));
    EXPECT_THAT(BuildTestConfigurations(m_eteTests, m_curlTests, m_networkObjects), IsEmpty());
    EXPECT_THAT(m_eteTests, SizeIs(1));
}

} // namespace
