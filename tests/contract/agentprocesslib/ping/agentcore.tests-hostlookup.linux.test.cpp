#include "agentcore.tests-hostlookup.linux.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.tests-functions.hpp"
#include "agentcore.tests-hostresolver.hpp"
#include "ping.fakenameserver.linux.hpp"
#include "ping.holdings.linux.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"
#include "shared.winsock-winsockinitialiser.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-networknamespace.linux.hpp"
#include "test.support-temporaryfolder.hpp"
#include "test.support-time.hpp"

namespace
{

using namespace AgentCore::Tests;
using namespace PingTest;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Addresses = std::vector<std::wstring>;

/// Ends with a dot, so that no search domains are tried.
constexpr const wchar_t* Name = L"host.example.";

class ResolverOverAFakeServerTest : public testing::Test
{
protected:
    static Addresses Resolve(
        const FakeNameServer& server, const std::wstring& name = Name, std::uint32_t timeoutMs = TestSupport::LimitMs)
    {
        HostResolver resolver{[&]
                              {
                                  return CreateAddressQuery(ResolverSettings{server.GetAddress()});
                              }};
        return resolver.Resolve(name, timeoutMs);
    }

    static std::string FailureOf(
        const FakeNameServer& server, const std::wstring& name = Name, std::uint32_t timeoutMs = TestSupport::LimitMs)
    {
        return TestSupport::RuntimeText([&] { (void)Resolve(server, name, timeoutMs); });
    }

    TestSupport::CapturedLog m_log;
};

TEST_F(ResolverOverAFakeServerTest, TheServersAnswerIsGiven)
{
    const FakeNameServer server{&AnswerWell};
    EXPECT_THAT(Resolve(server), ElementsAre(L"192.0.2.53"));
    EXPECT_EQ(server.CountQuestions(), 1);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(ResolverOverAFakeServerTest, EachCallAsksAnew)
{
    const FakeNameServer server{&AnswerWell};
    Resolve(server);
    Resolve(server);
    EXPECT_EQ(server.CountQuestions(), 2);
}

TEST_F(ResolverOverAFakeServerTest, AllAddressesOfAnAnswerAreGiven)
{
    const FakeNameServer server{
        [](const std::string& question) -> std::vector<std::string>
        {
            std::string records;
            for (char i = 1; i <= 20; ++i)
            {
                records += MakeRecord(TypeA, std::string("\xC0\x00\x02", 3) + i);
            }
            return {MakeAnswer(question, NoError, 20, records)};
        }};
    EXPECT_EQ(Resolve(server).size(), 20U);
}

TEST_F(ResolverOverAFakeServerTest, AThousandAddressesAreGivenInTheOrderOfTheAnswer)
{
    const FakeNameServer server{
        &AnswerCut,
        {[](const auto& question)
         {
             return AnswerWithMany(question, 1000);
         }}};
    const auto addresses = Resolve(server);
    ASSERT_EQ(addresses.size(), 1000U);
    EXPECT_EQ(addresses.front(), L"10.0.0.0");
    EXPECT_EQ(addresses.back(), L"10.0.3.231");
    EXPECT_EQ(server.CountConnections(), 1);
}

TEST_F(ResolverOverAFakeServerTest, ConnectionsThatBreakOffAreFailuresAndNothingElse)
{
    // What is written to a broken connection would otherwise end the process.
    Shared::WinSock::WinSockInitialiser sockets;
    sockets.Initialise();
    const auto before = CountHoldings();
    {
        const FakeNameServer server{&AnswerCut, FakeNameServer::OverTcp{}};
        for (int i = 0; i < 50; ++i)
        {
            EXPECT_THAT(FailureOf(server, Name, 200), testing::Not(StartsWith("(nothing")));
        }
        EXPECT_GT(server.CountConnections(), 0);
    }
    EXPECT_EQ(CountHoldings(), before);
}

TEST_F(ResolverOverAFakeServerTest, AnAddressAsANameAsksNobody)
{
    const FakeNameServer server{&AnswerWell};
    EXPECT_THAT(Resolve(server, L"192.0.2.7"), ElementsAre(L"192.0.2.7"));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
    EXPECT_THAT(Resolve(server, L"2001:db8::7"), IsEmpty());
    EXPECT_EQ(m_log.Count(Level::Error, "QueryCompleteCallback() failed: 11001"), 1U);
    EXPECT_EQ(server.CountQuestions(), 0);
}

TEST_F(ResolverOverAFakeServerTest, AQuestionThatIsDestroyedOnItsWayIsGivenUp)
{
    const FakeNameServer server{[](const std::string&)
                                {
                                    return std::vector<std::string>{};
                                }};
    const auto before = CountHoldings();
    std::vector<std::int32_t> ends;
    auto query = CreateAddressQuery(ResolverSettings{server.GetAddress()});
    const auto started = query->Start(Name, [&](std::int32_t error, const Addresses&) { ends.push_back(error); });
    EXPECT_EQ(started, static_cast<std::int32_t>(Shared::Platform::ErrorCode::IoPending));
    EXPECT_FALSE(query->Wait(1));
    query.reset();
    EXPECT_THAT(ends, ElementsAre(Shared::Platform::ErrorCode::ResolutionCancelled));
    EXPECT_EQ(CountHoldings(), before);
}

TEST_F(ResolverOverAFakeServerTest, AServerThatNeverAnswersRunsIntoTheTimeOut)
{
    const FakeNameServer server{[](const std::string&)
                                {
                                    return std::vector<std::string>{};
                                }};
    const TestSupport::Stopwatch watch;
    EXPECT_EQ(
        FailureOf(server, Name, 50),
        "Address reolution for host name \"host.example.\" took longer than 50 ms to complete.");
    EXPECT_GE(watch.ElapsedMs(), 50.0);
    EXPECT_EQ(m_log.Count(Level::Error, "QueryCompleteCallback() failed: 10111"), 1U);
}

TEST_F(ResolverOverAFakeServerTest, AnAnswerThatComesTooLateMeetsNobody)
{
    Shared::Concurrency::Event goOn{false, true};
    const FakeNameServer server{[&](const std::string& question)
                                {
                                    goOn.WaitOnEvent(TestSupport::LimitMs);
                                    return AnswerWell(question);
                                }};
    const auto before = CountHoldings();
    EXPECT_THAT(FailureOf(server, Name, 1), EndsWith("took longer than 1 ms to complete."));
    EXPECT_EQ(CountHoldings(), before);
    goOn.Signal();
    EXPECT_THAT(Resolve(server), ElementsAre(L"192.0.2.53"));
}

TEST_F(ResolverOverAFakeServerTest, ManyTimeOutsLeaveNothingBehind)
{
    const FakeNameServer server{[](const std::string&)
                                {
                                    return std::vector<std::string>{};
                                }};
    FailureOf(server, Name, 1);
    const auto before = CountHoldings();
    for (int i = 0; i < 100; ++i)
    {
        FailureOf(server, Name, 1);
    }
    EXPECT_EQ(CountHoldings(), before);
}

TEST_F(ResolverOverAFakeServerTest, AHostWithIpV6AddressesAloneIsAFailure)
{
    const FakeNameServer server{
        [](const std::string& question) -> std::vector<std::string>
        {
            return {MakeAnswer(question, NoError, 0, "")};
        }};
    EXPECT_THAT(
        FailureOf(server),
        StartsWith("Failed to resolve address for host name \"host.example.\" with error: 11004 - "));
}

TEST_F(ResolverOverAFakeServerTest, IpV6AddressesInTheAnswerAreNotGiven)
{
    const FakeNameServer server{
        [](const std::string& question) -> std::vector<std::string>
        {
            return {MakeAnswer(
                question, NoError, 2,
                MakeRecord(TypeAaaa, std::string(16, '\x20')) + MakeRecord(TypeA, std::string("\xC0\x00\x02\x35", 4)))};
        }};
    EXPECT_THAT(Resolve(server), ElementsAre(L"192.0.2.53"));
}

TEST_F(ResolverOverAFakeServerTest, ANameThatNobodyHasIsAFailure)
{
    const FakeNameServer server{
        [](const std::string& question) -> std::vector<std::string>
        {
            return {MakeAnswer(question, NoSuchName, 0, "")};
        }};
    EXPECT_THAT(
        FailureOf(server),
        StartsWith("Failed to resolve address for host name \"host.example.\" with error: 11001 - No such host"));
    EXPECT_EQ(m_log.Count(Level::Error, "QueryCompleteCallback() failed: 11001"), 1U);
}

TEST_F(ResolverOverAFakeServerTest, AServerThatRefusesOrFailsIsAFailure)
{
    for (const auto flags : {Refused, ServerFailure})
    {
        const FakeNameServer server{
            [flags](const std::string& question) -> std::vector<std::string>
            {
                return {MakeAnswer(question, flags, 0, "")};
            }};
        EXPECT_THAT(FailureOf(server), HasSubstr(" with error: 1100"));
    }
}

TEST_F(ResolverOverAFakeServerTest, RubbishBeforeTheAnswerIsPassedOver)
{
    const FakeNameServer server{[](const std::string& question)
                                {
                                    auto ofAnother = AnswerWell(question)[0];
                                    ofAnother[0] ^= 1;
                                    std::vector<std::string> datagrams = {
                                        "", "x", std::string(512, '\xFF'), std::string(4000, '\0'), ofAnother};
                                    datagrams.push_back(AnswerWell(question)[0]);
                                    return datagrams;
                                }};
    EXPECT_THAT(Resolve(server), ElementsAre(L"192.0.2.53"));
}

TEST_F(ResolverOverAFakeServerTest, AnAnswerThatIsDamagedNeverGivesAnAddress)
{
    // Cut anywhere, too many records promised, a name that refers to itself, an address of a wrong size.
    std::atomic<std::size_t> cut{12};
    const FakeNameServer server{
        [&](const std::string& question) -> std::vector<std::string>
        {
            return {AnswerWell(question)[0].substr(0, cut)};
        }};
    const auto whole = AnswerWell(std::string(12, '\0') + std::string("\4host\7example\0\0\1\0\1", 18))[0].size();
    for (cut = 12; cut < whole; ++cut)
    {
        EXPECT_THAT(FailureOf(server, Name, 100), testing::Not(StartsWith("(nothing"))) << cut;
    }
    const std::string selfReference = "\xC0\x1E";
    const std::vector<std::string> records = {
        MakeRecord(TypeA, "") + MakeRecord(TypeA, std::string(3, '\1')),
        selfReference + MakeRecord(TypeA, "1234").substr(2), MakeRecord(TypeA, "1234").substr(0, 11) + '\x7F'};
    for (const auto& record : records)
    {
        const FakeNameServer damaged{
            [&](const std::string& question) -> std::vector<std::string>
            {
                return {MakeAnswer(question, NoError, 9, record)};
            }};
        EXPECT_THAT(FailureOf(damaged, Name, 100), testing::Not(StartsWith("(nothing")));
    }
}

TEST_F(ResolverOverAFakeServerTest, TargetsThatAreNoHostNamesAreAskedForOrRefusedAndNothingElse)
{
    const FakeNameServer server{
        [](const std::string& question) -> std::vector<std::string>
        {
            return {MakeAnswer(question, NoSuchName, 0, "")};
        }};
    const std::vector<std::wstring> names = {
        L"-n",
        L"--help",
        L"a b c",
        L"\"quoted\"",
        L"'; rm -rf /;'",
        L"$(id)",
        L"a\nb",
        L"..",
        L".",
        std::wstring(10'240, L'x'),
        L"\\",
        L"%s%n{}",
        L"\u00E4",
        std::wstring(300, L'.'),
        L"192.0.2.256",
        L"a..b"};
    for (const auto& name : names)
    {
        try
        {
            EXPECT_THAT(Resolve(server, name, 500), IsEmpty());
        }
        catch (const Shared::Exception::RuntimeException& exception)
        {
            EXPECT_THAT(exception.what(), testing::AnyOf(HasSubstr("Failed to resolve"), HasSubstr("took longer")));
        }
    }
}

TEST_F(ResolverOverAFakeServerTest, ANameThatCannotBeAskedIsTheImmediateCase)
{
    const FakeNameServer server{&AnswerWell};
    EXPECT_THAT(Resolve(server, std::wstring(64, L'a') + L".example"), IsEmpty());
    EXPECT_EQ(m_log.Count(Level::Error, "QueryCompleteCallback() failed: "), 1U);
    EXPECT_EQ(server.CountQuestions(), 0);
}

TEST_F(ResolverOverAFakeServerTest, SettingsThatNameNoServerAreTheImmediateCase)
{
    HostResolver resolver{[]
                          {
                              return CreateAddressQuery(ResolverSettings{"no address"});
                          }};
    EXPECT_THAT(resolver.Resolve(Name, 1000), IsEmpty());
    EXPECT_EQ(m_log.Count(Level::Error, "QueryCompleteCallback() failed: "), 1U);
}

/// The whole road, through the files of a system of the test's own.
class ResolverOfASystemTest : public testing::Test
{
protected:
    static void In(
        const FakeNameServer::Answer& answer,
        const std::function<void()>& inside,
        const FakeNameServer::OverTcp& overTcp = {})
    {
        const TestSupport::TemporaryFolder folder;
        const auto file = folder.Path() / "resolv.conf";
        TestSupport::WriteFile(file, "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n");
        const auto obstacle = TestSupport::InNetworkNamespace(
            {"ip link set lo up", "mount --bind " + file.string() + " /etc/resolv.conf"},
            [&]
            {
                const FakeNameServer server{answer, overTcp, 53};
                inside();
            });
        if (!obstacle.empty())
        {
            GTEST_SKIP() << obstacle;
        }
    }
};

TEST_F(ResolverOfASystemTest, BothWaysAskTheSystemsServer)
{
    In(&AnswerWell,
       []
       {
           EXPECT_THAT(HostResolver{}.Resolve(L"one.example", TestSupport::LimitMs), ElementsAre(L"192.0.2.53"));
           EXPECT_EQ(HostNameToAddresses(L"two.example").ipv4, L"192.0.2.53");
       });
}

TEST_F(ResolverOfASystemTest, OfSeveralAddressesOfAFamilyTheLastCounts)
{
    In([](const auto& question) { return AnswerWithMany(question, 3); },
       []
       {
           EXPECT_THAT(
               HostResolver{}.Resolve(L"one.example", TestSupport::LimitMs),
               ElementsAre(L"10.0.0.0", L"10.0.0.1", L"10.0.0.2"));
           const auto addresses = HostNameToAddresses(L"two.example");
           EXPECT_EQ(addresses.ipv4, L"10.0.0.2");
           EXPECT_EQ(addresses.ipv6, L"");
       });
}

TEST_F(ResolverOfASystemTest, AThousandAddressesAreNoneTooMany)
{
    In(&AnswerCut,
       []
       {
           EXPECT_EQ(HostResolver{}.Resolve(L"one.example", TestSupport::LimitMs).size(), 1000U);
           EXPECT_THAT(HostNameToAddresses(L"two.example").ipv4, testing::StartsWith(L"10.0."));
       },
       {[](const auto& question)
        {
            return AnswerWithMany(question, 1000);
        }});
}

TEST_F(ResolverOfASystemTest, AHostWithIpV6AddressesAloneHasNoneToPing)
{
    In(
        [](const std::string& question) -> std::vector<std::string>
        {
            if (AsksForIpV4(question))
            {
                return {MakeAnswer(question, NoError, 0, "")};
            }
            const auto address = std::string("\x20\x01\x0D\xB8", 4) + std::string(11, '\0') + '\7';
            return {MakeAnswer(question, NoError, 1, MakeRecord(TypeAaaa, address))};
        },
        []
        {
            const auto addresses = HostNameToAddresses(L"six.example");
            EXPECT_EQ(addresses.ipv4, L"");
            EXPECT_EQ(addresses.ipv6, L"2001:db8::7");
            EXPECT_THAT(
                TestSupport::RuntimeText([] { (void)HostResolver{}.Resolve(L"six.example", TestSupport::LimitMs); }),
                HasSubstr("with error: 11004"));
            const TestSupport::CapturedLog log;
            EXPECT_FALSE(DoIpV4Ping(addresses.ipv4).replied);
            EXPECT_EQ(log.Count(Level::Warning, "Not a valid IPv4 string: "), 1U);
        });
}

TEST_F(ResolverOfASystemTest, AServerThatNeverAnswersIsAFailureOnceTheSystemGivesUp)
{
    In([](const std::string&) { return std::vector<std::string>{}; },
       []
       {
           try
           {
               (void)HostNameToAddresses(L"two.example");
               ADD_FAILURE() << "an address";
           }
           catch (const Shared::Exception::Win32Exception& exception)
           {
               EXPECT_EQ(exception.GetCode(), Shared::Platform::ErrorCode::HostTryAgain);
           }
       });
}

TEST_F(ResolverOfASystemTest, AServerThatFailsIsAFailureOfBothWays)
{
    const TestSupport::CapturedLog log;
    In([](const std::string& question) -> std::vector<std::string>
       { return {MakeAnswer(question, NoSuchName, 0, "")}; },
       []
       {
           EXPECT_THAT(
               TestSupport::RuntimeText([] { (void)HostResolver{}.Resolve(L"one.example", TestSupport::LimitMs); }),
               HasSubstr("with error: 11001"));
           EXPECT_EQ(
               TestSupport::Win32Text([] { (void)HostNameToAddresses(L"two.example"); }),
               "GetAddrInfoW failed with error");
       });
}

} // namespace
