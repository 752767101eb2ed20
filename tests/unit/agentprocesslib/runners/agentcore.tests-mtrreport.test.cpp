#include "agentcore.tests-mtrreport.hpp"

#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"

#include <string>

#include <gtest/gtest.h>

using AgentCore::Tests::PathTestFacts;
using AgentCore::Tests::ReadBmtrReport;
using AgentCore::Tests::ReadMtrReport;
using Shared::Log::Level;
using TestSupport::CapturedLog;
using TestSupport::RuntimeText;

namespace
{

constexpr const char* Output =
    R"({"report":{"mtr":{"src":"laptop","dst":"h","dstAddress":"192.0.2.1","tos":"0x0","psize":"64",)"
    R"("bitpattern":"0x00","tests":"5","initialRtt":"1.5","options":["a","b"]},)"
    R"("hubs":[{"count":"1","host":"gateway","address":"198.51.100.1","domain":"example.net","ASN":"AS64500",)"
    R"("DS":4,"LossPct":20.5,"Snt":5,"Last":1.25,"Avg":1.5,"Best":1,"Wrst":2.25,"StDev":0.125,"ISOCountry":"DE",)"
    R"("mpls":[{"label":7,"TC":1,"S":1,"TTL":254}]},{"count":"2","host":"???","LossPct":100.0,"Snt":5}]}})";

const PathTestFacts Facts = {1'700'000'000, "object", "config", 3, VPN_GATEWAY};

MtrTestResult Read(const std::string& output)
{
    return ReadMtrReport(output, Facts);
}

void ExpectFacts(const MtrTestResult& result)
{
    EXPECT_EQ(result.start_time(), 1'700'000'000);
    EXPECT_EQ(result.network_object_uuid(), "object");
    EXPECT_EQ(result.mtr_config_uuid(), "config");
    EXPECT_EQ(result.index(), 3);
    EXPECT_EQ(result.server_type(), VPN_GATEWAY);
}

void ExpectReport(const MtrTestResult& result)
{
    const MtrTestResult::Mtr& mtr = result.report().mtr();
    EXPECT_EQ(mtr.src(), "laptop");
    EXPECT_EQ(mtr.dstaddress(), "192.0.2.1");
    EXPECT_EQ(mtr.initialrtt(), "1.5");
    ASSERT_EQ(mtr.options_size(), 2);
    EXPECT_EQ(mtr.options(1), "b");
    ASSERT_EQ(result.report().hubs_size(), 2);
    const MtrTestResult::Hub& hub = result.report().hubs(0);
    EXPECT_EQ(hub.host(), "gateway");
    EXPECT_EQ(hub.asn(), "AS64500");
    EXPECT_EQ(hub.ds(), 4);
    EXPECT_EQ(hub.losspct(), 20.5);
    EXPECT_EQ(hub.snt(), 5);
    EXPECT_EQ(hub.best(), 1.0);
    EXPECT_EQ(hub.stdev(), 0.125);
    EXPECT_EQ(hub.isocountry(), "DE");
    ASSERT_EQ(hub.mpls_size(), 1);
    EXPECT_EQ(hub.mpls(0).ttl(), 254);
    EXPECT_EQ(result.report().hubs(1).losspct(), 100.0);
}

} // namespace

TEST(MtrReportTest, WhatTheToolPrintsIsTheMessage)
{
    ExpectReport(Read(Output));
    ExpectReport(ReadBmtrReport(Output, Facts));
}

TEST(MtrReportTest, TheRunnersFactsAreAdded)
{
    ExpectFacts(Read("{}"));
    ExpectFacts(ReadBmtrReport("{}", Facts));
}

TEST(MtrReportTest, TheRunnersFactsTakeThePlaceOfTheTools)
{
    const std::string output =
        R"({"index":77,"startTime":5,"networkObjectUuid":"x","mtrConfigUuid":"y","serverType":1,"index":78})";
    ExpectFacts(Read(output));
    ExpectFacts(ReadBmtrReport(output, Facts));
}

TEST(MtrReportTest, TheyDoUnderTheirOtherNamesToo)
{
    const std::string output =
        R"({"start_time":5,"network_object_uuid":"x","mtr_config_uuid":"y","server_type":"INTERNET"})";
    ExpectFacts(Read(output));
    ExpectFacts(ReadBmtrReport(output, Facts));
}

TEST(MtrReportTest, KeysThatTheSchemaDoesNotKnowArePassedOver)
{
    const std::string output =
        R"({"unknown":{"a":[1,2]},"report":{"hubs":[{"Loss%":1.0,"Snt":4,"Gmean":2}]},"x":null})";
    EXPECT_EQ(Read(output).report().hubs(0).snt(), 4);
    EXPECT_EQ(ReadBmtrReport(output, Facts).report().hubs(0).snt(), 4);
}

TEST(MtrReportTest, WhatIsNoJsonIsAFailure)
{
    const CapturedLog log;
    for (const std::string output : {"{\"report\":{\"mtr\":{\"src\":\"la", "mtr: no route", "{}{}", " "})
    {
        EXPECT_EQ(RuntimeText([&] { Read(output); }), "rapidJSON encountered a parse error on string ==> " + output);
        EXPECT_EQ(RuntimeText([&] { (void)ReadBmtrReport(output, Facts); }), "Failed to JSON serialise an MTR result");
    }
}

TEST(MtrReportTest, WhatIsNoObjectIsAFailure)
{
    const CapturedLog log;
    for (const char* output : {"[]", "7", "null"})
    {
        EXPECT_EQ(RuntimeText([&] { Read(output); }), "rapidJSON encountered a parse error adding member: startTime");
    }
    EXPECT_EQ(RuntimeText([] { (void)ReadBmtrReport("7", Facts); }), "Failed to JSON serialise an MTR result");
}

TEST(MtrReportTest, AValueThatDoesNotFitItsFieldIsAFailureAndTheLogSaysWhy)
{
    for (const char* output :
         {R"({"report":7})", R"({"report":{"hubs":[{"Snt":"many"}]}})", R"({"report":{"hubs":[{"Snt":5000000000}]}})"})
    {
        const CapturedLog log;
        EXPECT_EQ(RuntimeText([&] { Read(output); }), "Failed to JSON serialise an MTR result") << output;
        EXPECT_EQ(RuntimeText([&] { (void)ReadBmtrReport(output, Facts); }), "Failed to JSON serialise an MTR result")
            << output;
        EXPECT_EQ(log.Count(Level::Error, "ParseJSON() failed"), 2U);
    }
}

TEST(MtrReportTest, NestingOfAnyDepthIsNoTrouble)
{
    const CapturedLog log;
    constexpr std::size_t Depth = 1'000'000;
    const std::string nested = std::string(Depth, '[') + std::string(Depth, ']');
    const std::string output = R"({"target":"a","x":)" + nested + "}";
    EXPECT_EQ(Read(output).target(), "a");
    EXPECT_EQ(ReadBmtrReport(output, Facts).target(), "a");
    EXPECT_THROW(Read(nested.substr(0, Depth)), Shared::Exception::RuntimeException);
    EXPECT_THROW((void)ReadBmtrReport(nested.substr(0, Depth), Facts), Shared::Exception::RuntimeException);
}

TEST(MtrReportTest, ATimeBeyondTheFieldDoesNotCostTheResult)
{
    PathTestFacts facts = Facts;
    facts.startTime = 0x1'8000'0000;
    facts.index = 0xFFFFFFFF;
    EXPECT_EQ(ReadMtrReport("{}", facts).start_time(), ReadBmtrReport("{}", facts).start_time());
    EXPECT_EQ(ReadMtrReport("{}", facts).index(), -1);
}
