#include "agentcore.tests-toolarguments.hpp"

#include "runners.targets.hpp"
#include "shared.util-commandline.hpp"
#include "shared.util-functions.hpp"
#include "test.support-exceptions.hpp"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

using AgentCore::Tests::BuildBmtrArguments;
using AgentCore::Tests::BuildCurlArguments;
using AgentCore::Tests::BuildMtrArguments;
using AgentCore::Tests::BuildTcpPingArguments;
using AgentCore::Tests::CurlTestRequest;
using AgentCore::Tests::TcpPingRequest;
using TestSupport::InvalidArgumentText;

namespace
{

using Arguments = std::vector<std::wstring>;

CurlTestRequest CurlRequest(const std::wstring& target = L"h")
{
    CurlTestRequest request;
    request.target = target;
    request.scheme = "https";
    return request;
}

Arguments Curl(const CurlTestRequest& request)
{
    return BuildCurlArguments(request, L"192.0.2.1", L"NUL");
}

std::wstring UrlOf(const std::wstring& target, const std::string& path, std::uint16_t port = 0)
{
    CurlTestRequest request = CurlRequest(target);
    request.config.path = path;
    request.port = port;
    return Curl(request).back();
}

/// The value of --resolve.
std::wstring ResolveOf(const std::string& scheme, std::uint16_t port)
{
    CurlTestRequest request = CurlRequest();
    request.scheme = scheme;
    request.port = port;
    return Curl(request).at(4);
}

TcpPingRequest TcpRequest(const std::wstring& target = L"h")
{
    TcpPingRequest request;
    request.config.target = target;
    request.probeCount = 6;
    request.intervalSeconds = 10;
    request.timeoutSeconds = 5.0F;
    return request;
}

} // namespace

// --- curl

TEST(CurlArgumentsTest, TheWholeListIsInOrder)
{
    CurlTestRequest request = CurlRequest(L"www.example.com");
    request.ignoreSslErrors = true;
    request.config.headers = {"Accept: text/html", "X-Second: 2"};
    request.config.path = "/health";
    EXPECT_EQ(
        Curl(request),
        (Arguments{
            L"bin\\curl",
            L"-w",
            L"%{json}",
            L"-k",
            L"--resolve",
            L"www.example.com:443:192.0.2.1",
            L"--max-time",
            L"15",
            L"--proto-default",
            L"https",
            L"--ssl-revoke-best-effort",
            L"-s",
            L"-o",
            L"NUL",
            L"-4",
            L"--header",
            L"Accept: text/html",
            L"--header",
            L"X-Second: 2",
            L"www.example.com/health"}));
}

TEST(CurlArgumentsTest, WithoutHeadersAndWithCertificatesThatCountItIsShort)
{
    EXPECT_EQ(
        Curl(CurlRequest()),
        (Arguments{
            L"bin\\curl", L"-w", L"%{json}", L"--resolve", L"h:443:192.0.2.1", L"--max-time", L"15", L"--proto-default",
            L"https", L"--ssl-revoke-best-effort", L"-s", L"-o", L"NUL", L"-4", L"h"}));
}

TEST(CurlArgumentsTest, ThePortStandsBehindThePathAndInTheResolution)
{
    EXPECT_EQ(UrlOf(L"h", "a", 8080), L"h/a:8080");
    EXPECT_EQ(ResolveOf("https", 8080), L"h:8080:192.0.2.1");
    EXPECT_EQ(UrlOf(L"h", "", 65535), L"h:65535");
}

TEST(CurlArgumentsTest, ASlashComesBetweenTargetAndPathUnlessOneIsThere)
{
    EXPECT_EQ(UrlOf(L"h", ""), L"h");
    EXPECT_EQ(UrlOf(L"h", "a"), L"h/a");
    EXPECT_EQ(UrlOf(L"h", "/a"), L"h/a");
    EXPECT_EQ(UrlOf(L"h/", "a"), L"h/a");
    EXPECT_EQ(UrlOf(L"h/", "/a"), L"h//a");
    EXPECT_EQ(
        UrlOf(
            L"h",
            "gr\xC3\xBC\xC3\x9F"
            "e"),
        L"h/gr\u00fc\u00dfe");
}

TEST(CurlArgumentsTest, WithoutAPortTheResolutionHasTheSchemesOwn)
{
    EXPECT_EQ(ResolveOf("http", 0), L"h:80:192.0.2.1");
    EXPECT_EQ(ResolveOf("https", 0), L"h:443:192.0.2.1");
    EXPECT_EQ(ResolveOf("ftp", 0), L"h:0:192.0.2.1");
    EXPECT_EQ(ResolveOf("HTTP", 0), L"h:0:192.0.2.1");
    EXPECT_EQ(ResolveOf("", 0), L"h:0:192.0.2.1");
}

TEST(CurlArgumentsTest, ATargetThatWouldBeAnOptionIsRefused)
{
    EXPECT_EQ(InvalidArgumentText([] { Curl(CurlRequest(L"-K")); }), "The target -K would be read as an option");
    EXPECT_EQ(
        InvalidArgumentText([] { Curl(CurlRequest(L"--config=/etc/passwd")); }),
        "The target --config=/etc/passwd would be read as an option");
    EXPECT_EQ(InvalidArgumentText([] { Curl(CurlRequest(L"")); }), "A test without a target cannot be run");
}

TEST(CurlArgumentsTest, ATargetThatIsAnAddressOfItsOwnOrAPatternIsRefused)
{
    for (const std::wstring& target : TestTargets::Patterns())
    {
        EXPECT_EQ(
            InvalidArgumentText([&] { Curl(CurlRequest(target)); }),
            fmt::format("The target {} is more than a host", Shared::Util::ConvertStringType(target)));
    }
}

TEST(CurlArgumentsTest, ASchemeThatReadsFilesIsRefused)
{
    for (const char* scheme : {"file", "FILE", "File", "f\xFFile"})
    {
        CurlTestRequest request = CurlRequest();
        request.scheme = scheme;
        EXPECT_EQ(InvalidArgumentText([&] { Curl(request); }), "The scheme file would read this machine's files");
    }
}

TEST(CurlArgumentsTest, AHeaderThatReadsAFileIsRefused)
{
    CurlTestRequest request = CurlRequest();
    request.config.headers = {"Good: 1", "@/etc/passwd"};
    EXPECT_EQ(InvalidArgumentText([&] { Curl(request); }), "The header @/etc/passwd would be read from a file");
}

TEST(CurlArgumentsTest, AHeaderThatReadsAFileOnceItIsConvertedIsRefused)
{
    CurlTestRequest request = CurlRequest();
    request.config.headers = {"\xFF@/etc/passwd"};
    EXPECT_NE(InvalidArgumentText([&] { Curl(request); }).find("would be read from a file"), std::string::npos);
}

TEST(CurlArgumentsTest, AHeaderOfAnyOtherKindIsOneValue)
{
    CurlTestRequest request = CurlRequest();
    request.config.headers = {"", "-k", "X: \"a b\"", "X: @file"};
    const Arguments arguments = Curl(request);
    EXPECT_EQ(
        Arguments(arguments.end() - 9, arguments.end() - 1),
        (Arguments{L"--header", L"", L"--header", L"-k", L"--header", L"X: \"a b\"", L"--header", L"X: @file"}));
}

// --- mtr, bmtr

TEST(MtrArgumentsTest, TheWholeListIsInOrder)
{
    EXPECT_EQ(
        BuildMtrArguments(0, L"192.0.2.1"),
        (Arguments{
            L"bin\\mtr", L"--json", L"--timeout", L"15", L"-c", L"5", L"-q", L"33000", L"--interval", L"5",
            L"--show-ips", L"--rtt-clamping", L"--end-verification", L"-4", L"192.0.2.1"}));
}

TEST(MtrArgumentsTest, EachRunnerHasABlockOfItsOwn)
{
    EXPECT_EQ(BuildMtrArguments(1, L"h").at(7), L"33256");
    EXPECT_EQ(BuildMtrArguments(3, L"h").at(7), L"33768");
}

TEST(MtrArgumentsTest, ATargetThatWouldBeAnOptionIsRefused)
{
    EXPECT_EQ(
        InvalidArgumentText([] { BuildMtrArguments(0, L"-F/etc/passwd"); }),
        "The target -F/etc/passwd would be read as an option");
    EXPECT_EQ(InvalidArgumentText([] { BuildMtrArguments(0, L""); }), "A test without a target cannot be run");
}

TEST(BmtrArgumentsTest, TheLettersDependOnTheMode)
{
    EXPECT_EQ(
        BuildBmtrArguments(true, L"h"), (Arguments{L"bin\\bmtr.exe", L"u", L"i", L"f", L"5", L"1", L"5", L"h", L"80"}));
    EXPECT_EQ(
        BuildBmtrArguments(false, L"h"),
        (Arguments{L"bin\\bmtr.exe", L"s", L"i", L"n", L"5", L"1", L"5", L"h", L"80"}));
}

TEST(BmtrArgumentsTest, ATargetThatWouldBeAnOptionIsRefused)
{
    EXPECT_EQ(
        InvalidArgumentText([] { BuildBmtrArguments(false, L"-h"); }), "The target -h would be read as an option");
    EXPECT_EQ(InvalidArgumentText([] { BuildBmtrArguments(false, L""); }), "A test without a target cannot be run");
}

// --- tcping

TEST(TcpPingArgumentsTest, TheWholeListIsInOrder)
{
    TcpPingRequest request = TcpRequest(L"192.0.2.1");
    request.port = 443;
    request.timeoutSeconds = 2.5F;
    EXPECT_EQ(
        BuildTcpPingArguments(request),
        (Arguments{L"bin\\tcping", L"-n", L"6", L"-i", L"10", L"-w", L"2.5", L"-j", L"-p", L"443", L"192.0.2.1"}));
}

TEST(TcpPingArgumentsTest, ThePortOfTheToolItselfIsNotNamed)
{
    for (const std::uint32_t port : {0U, 80U})
    {
        TcpPingRequest request = TcpRequest();
        request.port = port;
        EXPECT_EQ(
            BuildTcpPingArguments(request),
            (Arguments{L"bin\\tcping", L"-n", L"6", L"-i", L"10", L"-w", L"5", L"-j", L"h"}));
    }
}

TEST(TcpPingArgumentsTest, ATimeOutIsADecimalNumberAtEverySetting)
{
    const auto timeoutOf = [](std::uint32_t milliseconds)
    {
        TcpPingRequest request = TcpRequest();
        request.timeoutSeconds = static_cast<float>(milliseconds / 1000.0);
        return BuildTcpPingArguments(request).at(6);
    };
    EXPECT_EQ(timeoutOf(0), L"0");
    EXPECT_EQ(timeoutOf(1), L"0.001");
    EXPECT_EQ(timeoutOf(1500), L"1.5");
    EXPECT_EQ(timeoutOf(60'000), L"60");
    EXPECT_EQ(timeoutOf(0xFFFFFFFF).find(L'e'), std::wstring::npos);
}

TEST(TcpPingArgumentsTest, ATargetThatWouldBeAnOptionIsRefused)
{
    EXPECT_EQ(
        InvalidArgumentText([] { BuildTcpPingArguments(TcpRequest(L"-t")); }),
        "The target -t would be read as an option");
    EXPECT_EQ(
        InvalidArgumentText([] { BuildTcpPingArguments(TcpRequest(L"")); }), "A test without a target cannot be run");
}

// --- All of them

TEST(ToolArgumentsTest, WhateverTheTargetItIsOneArgumentAtItsPlace)
{
    for (const std::wstring& target : TestTargets::Strange())
    {
        const Arguments curl = Curl(CurlRequest(target));
        EXPECT_EQ(curl.size(), 15U);
        EXPECT_EQ(curl.back(), target);
        EXPECT_EQ(BuildMtrArguments(0, target).size(), 15U);
        EXPECT_EQ(BuildMtrArguments(0, target).back(), target);
        EXPECT_EQ(BuildBmtrArguments(false, target).size(), 9U);
        EXPECT_EQ(BuildBmtrArguments(false, target).at(7), target);
        EXPECT_EQ(BuildTcpPingArguments(TcpRequest(target)).size(), 9U);
        EXPECT_EQ(BuildTcpPingArguments(TcpRequest(target)).back(), target);
        // The one text that Windows hands on is taken apart into the same again.
        EXPECT_EQ(Shared::Util::SplitCommandLine(Shared::Util::Paste(curl)), curl);
    }
}
