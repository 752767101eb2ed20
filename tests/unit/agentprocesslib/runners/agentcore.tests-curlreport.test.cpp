#include "agentcore.tests-curlreport.hpp"

#include "test.support-exceptions.hpp"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using AgentCore::Tests::CurlReport;
using AgentCore::Tests::ReadCurlReport;
using AgentCore::Tests::TranslateCurlReport;
using TestSupport::RuntimeText;

namespace
{

constexpr const char* HttpsOutput =
    R"({"content_type":"text/html","errormsg":null,"exitcode":0,"http_code":200,"http_version":"2","num_headers":12,)"
    R"("remote_ip":"192.0.2.1","remote_port":443,"size_download":1256,"speed_download":3042,"time_appconnect":0.25,)"
    R"("time_connect":0.125,"time_namelookup":0.0625,"time_pretransfer":0.375,"time_redirect":0.000000,)"
    R"("time_starttransfer":0.5,"time_total":1,"url":"h/","curl_version":"libcurl/7.88.1"})";

CurlTranslatedOutput Translate(const CurlReport& report, double apiDnsSeconds = 0.0)
{
    return TranslateCurlReport(report, apiDnsSeconds, {"2XX"});
}

bool IsSuccess(std::uint32_t code, const std::vector<std::string>& successCodes)
{
    CurlReport report;
    report.httpCode = code;
    return TranslateCurlReport(report, 0.0, successCodes).success();
}

} // namespace

TEST(CurlReportTest, TheFiguresOfATransferAreRead)
{
    const CurlReport report = ReadCurlReport(HttpsOutput);
    EXPECT_EQ(report.timeNameLookup, 0.0625);
    EXPECT_EQ(report.timeConnect, 0.125);
    EXPECT_EQ(report.timeAppConnect, 0.25);
    EXPECT_EQ(report.timePreTransfer, 0.375);
    EXPECT_EQ(report.timeStartTransfer, 0.5);
    EXPECT_EQ(report.timeTotal, 1.0);
    EXPECT_EQ(report.sizeDownload, 1256U);
    EXPECT_EQ(report.speedDownload, 3042U);
    EXPECT_EQ(report.httpCode, 200U);
    EXPECT_EQ(report.remoteIp, "192.0.2.1");
}

TEST(CurlReportTest, TimesMayBeWrittenAsAnyNumber)
{
    const CurlReport report = ReadCurlReport(
        R"({"time_namelookup":3,"time_connect":-2,"time_appconnect":5000000000,"time_pretransfer":18446744073709551615,)"
        R"("time_starttransfer":-5000000000,"time_total":1e-3})");
    EXPECT_EQ(report.timeNameLookup, 3.0);
    EXPECT_EQ(report.timeConnect, -2.0);
    EXPECT_EQ(report.timeAppConnect, 5e9);
    EXPECT_EQ(report.timePreTransfer, 18446744073709551615.0);
    EXPECT_EQ(report.timeStartTransfer, -5e9);
    EXPECT_EQ(report.timeTotal, 0.001);
}

TEST(CurlReportTest, WhatIsNotToldIsNothing)
{
    for (const char* output :
         {"{}", "[]", "7", "null", R"("text")",
          R"({"time_total":null,"http_code":"200","remote_ip":4,"size_download":{}})"})
    {
        const CurlReport report = ReadCurlReport(output);
        EXPECT_EQ(report.timeTotal, 0.0) << output;
        EXPECT_EQ(report.timeNameLookup, 0.0) << output;
        EXPECT_EQ(report.httpCode, 0U) << output;
        EXPECT_EQ(report.sizeDownload, 0U) << output;
        EXPECT_EQ(report.remoteIp, "") << output;
    }
}

TEST(CurlReportTest, ACountIsTheNearestThatThereIs)
{
    const CurlReport report =
        ReadCurlReport(R"({"size_download":5000000000,"speed_download":1234.875,"http_code":-1})");
    EXPECT_EQ(report.sizeDownload, std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(report.speedDownload, 1234U);
    EXPECT_EQ(report.httpCode, 0U);
}

TEST(CurlReportTest, WhatIsNoJsonIsAFailureWithTheText)
{
    for (const std::string output :
         {"{\"time_total\":0.5,\"ti", "curl: (6) Could not resolve host", "{}{}", " ", "{\"a\":1e999}"})
    {
        EXPECT_EQ(
            RuntimeText([&] { (void)ReadCurlReport(output); }),
            "CurlTestRunner: rapidJSON encountered a parse error on JSON ==> " + output);
    }
}

TEST(CurlReportTest, NestingOfAnyDepthIsNoTrouble)
{
    constexpr std::size_t Depth = 1'000'000;
    EXPECT_EQ(ReadCurlReport(std::string(Depth, '[') + std::string(Depth, ']')).timeTotal, 0.0);
    EXPECT_THROW((void)ReadCurlReport(std::string(Depth, '[')), Shared::Exception::RuntimeException);
}

TEST(CurlTranslationTest, TheFiguresStandWhereTheServerWantsThem)
{
    const CurlTranslatedOutput output = Translate(ReadCurlReport(HttpsOutput), 2.0);
    EXPECT_EQ(output.time_namelookup(), 2.0625);
    EXPECT_EQ(output.time_connect(), 0.125);
    EXPECT_EQ(output.time_appconnect(), 0.25);
    EXPECT_EQ(output.time_pre_transfer(), 0.375);
    EXPECT_EQ(output.time_start_transfer(), 0.5);
    EXPECT_EQ(output.total_time(), 3.0);
    EXPECT_EQ(output.dns_lookup_time(), 0.0625);
    EXPECT_EQ(output.tcp_handshake_time(), 0.0625);
    EXPECT_EQ(output.ssl_handshake_time(), 0.125);
    EXPECT_EQ(output.wait_time(), 0.125);
    EXPECT_EQ(output.data_transfer_time(), 0.5);
    EXPECT_EQ(output.time_to_first_byte(), 0.375);
    EXPECT_EQ(output.wire_size(), 1256U);
    EXPECT_EQ(output.speed_download(), 3042U);
    EXPECT_EQ(output.throughput(), 8U * 3042U);
    EXPECT_EQ(output.http_code(), 200U);
    EXPECT_TRUE(output.success());
}

TEST(CurlTranslationTest, TheAgentsOwnTimeForTheNameIsAllThereIsWhenCurlIsGivenTheAddress)
{
    CurlReport report;
    report.timeTotal = 0.5;
    const CurlTranslatedOutput output = Translate(report, 1.25);
    EXPECT_EQ(output.time_namelookup(), 1.25);
    EXPECT_EQ(output.total_time(), 1.75);
    EXPECT_EQ(output.dns_lookup_time(), 0.0);
    EXPECT_EQ(output.time_to_first_byte(), 0.0);
}

TEST(CurlTranslationTest, WithoutTlsTheFirstByteStillCountsTheNegativeHandshake)
{
    CurlReport report;
    report.timeNameLookup = 0.125;
    report.timeConnect = 0.25;
    report.timePreTransfer = 0.25;
    report.timeStartTransfer = 1.0;
    report.timeTotal = 1.5;
    const CurlTranslatedOutput output = Translate(report);
    EXPECT_EQ(output.tcp_handshake_time(), 0.125);
    EXPECT_EQ(output.ssl_handshake_time(), 0.0);
    EXPECT_EQ(output.wait_time(), 0.75);
    // 0.125 for the name, 0.125 to connect, -0.25 for TLS, 0.75 to wait.
    EXPECT_EQ(output.time_to_first_byte(), 0.75);
}

TEST(CurlTranslationTest, NoPhaseIsNegative)
{
    CurlReport report;
    report.timeNameLookup = 1.0;
    report.timePreTransfer = 2.0;
    report.timeStartTransfer = 0.5;
    report.timeTotal = 0.25;
    const CurlTranslatedOutput output = Translate(report);
    EXPECT_EQ(output.tcp_handshake_time(), 0.0);
    EXPECT_EQ(output.ssl_handshake_time(), 0.0);
    EXPECT_EQ(output.wait_time(), 0.0);
    EXPECT_EQ(output.data_transfer_time(), 0.0);
    EXPECT_EQ(output.time_to_first_byte(), 0.0);
}

TEST(CurlTranslationTest, OnlyPhasesAreKeptFromBeingNegative)
{
    CurlReport report;
    report.timeNameLookup = -1.0;
    report.timeConnect = -2.0;
    report.timeAppConnect = -3.0;
    report.timePreTransfer = -4.0;
    report.timeStartTransfer = -5.0;
    report.timeTotal = -6.0;
    const CurlTranslatedOutput output = Translate(report, 0.5);
    EXPECT_EQ(output.time_namelookup(), -0.5);
    EXPECT_EQ(output.time_connect(), -2.0);
    EXPECT_EQ(output.time_appconnect(), -3.0);
    EXPECT_EQ(output.time_pre_transfer(), -4.0);
    EXPECT_EQ(output.time_start_transfer(), -5.0);
    EXPECT_EQ(output.total_time(), -5.5);
    EXPECT_EQ(output.dns_lookup_time(), -1.0);
}

TEST(CurlTranslationTest, AThroughputThatDoesNotFitIsTheLargest)
{
    CurlReport report;
    report.speedDownload = 536'870'911;
    EXPECT_EQ(Translate(report).throughput(), 4'294'967'288U);
    report.speedDownload = 536'870'912;
    EXPECT_EQ(Translate(report).throughput(), std::numeric_limits<std::uint32_t>::max());
}

TEST(CurlTranslationTest, TheTwoEntriesNameTheCodesOfASuccess)
{
    EXPECT_TRUE(IsSuccess(200, {"2XX"}));
    EXPECT_TRUE(IsSuccess(299, {"2XX"}));
    EXPECT_FALSE(IsSuccess(199, {"2XX"}));
    EXPECT_FALSE(IsSuccess(300, {"2XX"}));
    EXPECT_TRUE(IsSuccess(300, {"3XX"}));
    EXPECT_TRUE(IsSuccess(399, {"2XX", "3XX"}));
    EXPECT_FALSE(IsSuccess(400, {"2XX", "3XX"}));
    EXPECT_TRUE(IsSuccess(204, {"nonsense", "3XX", "2XX"}));
}

TEST(CurlTranslationTest, NoOtherEntryMeansAnything)
{
    EXPECT_FALSE(IsSuccess(200, {}));
    EXPECT_FALSE(IsSuccess(200, {"200", "2xx", "XX", "", "2XX ", "*"}));
    EXPECT_FALSE(IsSuccess(404, {"4XX", "404"}));
}
