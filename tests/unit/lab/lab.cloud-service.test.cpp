#include "lab.cloud-service.hpp"

#include "lab.scenario-parser.hpp"
#include "lab.wire-names.hpp"
#include "test.support-temporaryfolder.hpp"
#include "test.support-time.hpp"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using Lab::Cloud::Service;
using Lab::Control::Hello;
using Lab::Control::Order;
using Lab::Control::OrderKind;
using Lab::Control::Role;
using Lab::Net::FrameStream;
using Lab::Net::Socket;
using Lab::Wire::Envelope;
using std::chrono::milliseconds;
using ::testing::HasSubstr;
namespace MsgId = Lab::Wire::MsgId;

constexpr milliseconds Limit(TestSupport::LimitMs);
constexpr milliseconds Quiet(TestSupport::QuietMs);

class ServiceTest : public ::testing::Test
{
protected:
    void Start(const std::string& scenario = "{}", double speed = 1.0)
    {
        m_service = std::make_unique<Service>(
            Lab::ParseScenario(scenario), m_folder.Path() / "cloud", speed,
            [this](std::string_view who, std::string_view what)
            {
                const std::scoped_lock hold(m_lock);
                m_told += std::string(who) + ": " + std::string(what) + "\n";
            });
    }

    std::unique_ptr<FrameStream> Connect(const Hello& hello)
    {
        auto stream = std::make_unique<FrameStream>(Socket::Connect(m_service->GetEndpoint(), Limit));
        stream->Send(Lab::Control::Encode(hello), Limit);
        return stream;
    }

    /// A link behind the cloud's greeting.
    std::unique_ptr<FrameStream> Link(const std::string& server = "cloud.lab.example")
    {
        auto stream = Connect({Role::Link, server, 4711});
        EXPECT_EQ(Receive(*stream).msgId, MsgId::RouterFeatures);
        return stream;
    }

    static Envelope Receive(FrameStream& stream)
    {
        return Lab::Wire::Decode(stream.Receive(Limit).value_or("\x07"));
    }

    static bool IsSilent(FrameStream& stream)
    {
        try
        {
            (void)stream.Receive(Quiet);
        }
        catch (const Lab::Net::SocketError& problem)
        {
            return problem.GetFailure() == Lab::Net::Failure::TimedOut;
        }
        return false;
    }

    static void Ask(
        FrameStream& stream, std::uint32_t msgId, const std::string& payload = "{}", std::uint32_t seqNum = 5)
    {
        Envelope request;
        request.msgId = msgId;
        request.seqNum = seqNum;
        request.srcComp = 55;
        request.dstComp = 103;
        request.payload = payload;
        stream.Send(Encode(request), Limit);
    }

    std::string Told()
    {
        const std::scoped_lock hold(m_lock);
        return m_told;
    }

    void AwaitTold(const std::string& text)
    {
        const TestSupport::Stopwatch watch;
        while (Told().find(text) == std::string::npos)
        {
            ASSERT_LT(watch.ElapsedMs(), TestSupport::LimitMs) << "never told: " << text << "\nbut:\n" << Told();
            Shared::Time::SleepFor(milliseconds(5));
        }
    }

    TestSupport::TemporaryFolder m_folder;
    std::mutex m_lock;
    std::string m_told;
    std::unique_ptr<Service> m_service;
};

TEST_F(ServiceTest, ARequestIsAnsweredKeptAndTold)
{
    Start();
    const auto link = Link();
    Ask(*link, MsgId::StartupRequest);
    const Envelope answer = Receive(*link);
    EXPECT_EQ(answer.msgId, MsgId::StartupResponse);
    EXPECT_EQ(answer.seqNum, 5U);
    EXPECT_EQ(answer.payload, R"({"statusCode":200})");
    EXPECT_TRUE(std::filesystem::exists(m_folder.Path() / "cloud" / "0002-from-agent-24001-startup.json"));
    EXPECT_THAT(Told(), HasSubstr("cloud: a link to cloud.lab.example is up"));
    EXPECT_THAT(Told(), HasSubstr("cloud: <- startup (24001), seq_num 5, 2 bytes"));
    AwaitTold("cloud: -> startup answer (24101), seq_num 5, 18 bytes");
}

TEST_F(ServiceTest, AServerIsWhatTheConnectorAsksFor)
{
    Start(R"({"cloud":{"registration":[{"answer":"redirect","server":"east"},{"answer":"success"}]}})");
    const auto first = Link("west");
    Ask(*first, MsgId::RegisterRequest, R"({"subTenantId":"t"})");
    EXPECT_THAT(Receive(*first).payload, HasSubstr(R"("statusCode":307)"));
    EXPECT_THAT(Told(), HasSubstr("cloud: the scenario's answer to it: redirect\n"));
    EXPECT_EQ(m_service->GetAccepted(), 0U);
    const auto second = Link("east");
    Ask(*second, MsgId::RegisterRequest, R"({"subTenantId":"t"})");
    EXPECT_THAT(Receive(*second).payload, HasSubstr(R"("server":"east")"));
    EXPECT_EQ(m_service->GetAccepted(), 1U);
}

TEST_F(ServiceTest, ADelayIsInTheAgentsTime)
{
    Start(R"({"cloud":{"registration":[{"answer":"success","delay":5}]}})", 100);
    const auto link = Link();
    const TestSupport::Stopwatch watch;
    Ask(*link, MsgId::RegisterRequest, "{}", 1);
    Ask(*link, MsgId::PollRequest, "{}", 2);
    EXPECT_EQ(Receive(*link).seqNum, 2U) << "other answers do not wait for it";
    EXPECT_EQ(Receive(*link).seqNum, 1U);
    EXPECT_GE(watch.ElapsedMs(), 50.0);
}

TEST_F(ServiceTest, WhatIsNoEnvelopeIsToldAndTheLinkStays)
{
    Start();
    const auto link = Link();
    link->Send("\x07rubbish", Limit);
    Ask(*link, MsgId::PollRequest);
    EXPECT_EQ(Receive(*link).msgId, MsgId::PollResponse);
    EXPECT_THAT(Told(), HasSubstr("8 bytes are no envelope"));
}

TEST_F(ServiceTest, AStreamThatBeginsWithRubbishIsEndedAndTold)
{
    Start();
    FrameStream stream(Socket::Connect(m_service->GetEndpoint(), Limit));
    stream.Send("GET / HTTP/1.1", Limit);
    EXPECT_EQ(stream.Receive(Limit), std::nullopt);
    AwaitTold("a stream was ended: a control message is no JSON");
}

TEST_F(ServiceTest, AStreamWithAFrameThatIsTooLargeIsEnded)
{
    Start();
    const auto socket = Socket::Connect(m_service->GetEndpoint(), Limit);
    socket->Send("\xFF\xFF\xFF\xFF", Limit);
    EXPECT_EQ(socket->Receive(1, Limit), "");
    AwaitTold("is larger than");
}

TEST_F(ServiceTest, CuttingBreaksTheLinksAndNewOnesForAWhile)
{
    Start();
    const auto link = Link();
    EXPECT_EQ(m_service->CutLinks(milliseconds(300)), 1U);
    EXPECT_EQ(link->Receive(Limit), std::nullopt);
    const auto during = Connect({Role::Link, "s", 1});
    EXPECT_EQ(during->Receive(Limit), std::nullopt);
    Shared::Time::SleepFor(milliseconds(310));
    const auto after = Link();
    AwaitTold("the link to cloud.lab.example is down: it is cut");
}

TEST_F(ServiceTest, ALinkThatNeverCameUpIsNotToldAsDown)
{
    Start();
    (void)m_service->CutLinks(milliseconds(0));
    const auto refused = Connect({Role::Link, "cloud.lab.example", 4711});
    EXPECT_EQ(refused->Receive(Limit), std::nullopt);
    m_service->Stop();
    EXPECT_EQ(Told(), "");
}

TEST_F(ServiceTest, ItKnowsWhetherALinkCameUpBehindARegistration)
{
    Start();
    const auto first = Link();
    Ask(*first, MsgId::RegisterRequest, R"({"subTenantId":"t"})");
    (void)Receive(*first);
    EXPECT_EQ(m_service->GetAcceptedAtLastLink(), 0U);
    const auto second = Link();
    EXPECT_EQ(m_service->GetAcceptedAtLastLink(), 1U);
}

TEST_F(ServiceTest, ItKnowsHowManyConnectorsCameForTheirOrders)
{
    Start();
    for (std::size_t i = 1; i <= 2; ++i)
    {
        const auto control = Connect({Role::Control, "", i});
        ASSERT_TRUE(control->Receive(Limit).has_value());
        EXPECT_EQ(m_service->GetConnectorStarts(), i);
    }
}

TEST_F(ServiceTest, ASilentCloudTakesEverythingAndAnswersNothingUntilItSpeaksAgain)
{
    Start();
    const auto link = Link();
    m_service->Silence(milliseconds(200));
    Ask(*link, MsgId::PollRequest, "{}", 1);
    EXPECT_TRUE(IsSilent(*link));
    Shared::Time::SleepFor(milliseconds(200));
    Ask(*link, MsgId::PollRequest, "{}", 2);
    EXPECT_EQ(Receive(*link).seqNum, 2U);
    EXPECT_EQ(m_service->GetCounts().at({Lab::Cloud::Direction::FromAgent, MsgId::PollRequest}), 2U);
}

TEST_F(ServiceTest, ASilentCloudStillGreetsANewLinkSoThatItTakesEverything)
{
    Start();
    m_service->Silence(milliseconds(0));
    const auto link = Link();
    Ask(*link, MsgId::PollRequest);
    AwaitTold("cloud: <- poll (24002)");
    EXPECT_TRUE(IsSilent(*link));
}

TEST_F(ServiceTest, ASilentCloudAcceptsNoRegistration)
{
    Start();
    const auto link = Link();
    m_service->Silence(milliseconds(0));
    Ask(*link, MsgId::RegisterRequest, R"({"subTenantId":"t"})");
    EXPECT_TRUE(IsSilent(*link));
    EXPECT_EQ(m_service->GetAccepted(), 0U);
}

TEST_F(ServiceTest, AFloodHasItsCountAndItsSizeAndIsNotKeptDropByDrop)
{
    Start();
    const auto link = Link();
    EXPECT_EQ(m_service->Flood(150, 6000), 1U);
    for (std::uint32_t i = 1; i <= 150; ++i)
    {
        const Envelope drop = Receive(*link);
        ASSERT_EQ(drop.seqNum, i);
        ASSERT_GE(drop.payload.size(), 6000U);
    }
    const auto files = std::distance(
        std::filesystem::directory_iterator(m_folder.Path() / "cloud"), std::filesystem::directory_iterator());
    EXPECT_EQ(files, 1 + 100);
    EXPECT_EQ(m_service->GetCounts().at({Lab::Cloud::Direction::ToAgent, MsgId::RouterRemoteSubscriptions}), 150U);
}

TEST_F(ServiceTest, AMessageCanBeSentUnasked)
{
    Start();
    EXPECT_EQ(m_service->Send(MsgId::ConfigChanges, "{}"), 0U);
    const auto link = Link();
    EXPECT_EQ(m_service->Send(MsgId::ConfigChanges, "{}"), 1U);
    EXPECT_EQ(Receive(*link).msgId, MsgId::ConfigChanges);
}

TEST_F(ServiceTest, ARequestForConfigurationIsToldByItsName)
{
    Start(R"({"cloud":{"answers":[{"to":"mtr","how":"twice"}]}})");
    const auto link = Link();
    Ask(*link, MsgId::ConfigGet2Request, R"({"trees":["/config/mtr"]})");
    EXPECT_EQ(Receive(*link).seqNum, 5U);
    EXPECT_EQ(Receive(*link).seqNum, 5U);
    EXPECT_THAT(Told(), HasSubstr("cloud: <- configuration request (6005) for mtr, seq_num 5, 25 bytes\n"));
    EXPECT_THAT(Told(), HasSubstr("cloud: the scenario's answer to it: twice\n"));
}

TEST_F(ServiceTest, AnAnswerUnderAWrongNumberHasAnother)
{
    Start(R"({"cloud":{"answers":[{"to":"startup","how":"wrong-number"}]}})");
    const auto link = Link();
    Ask(*link, MsgId::StartupRequest);
    EXPECT_NE(Receive(*link).seqNum, 5U);
}

TEST_F(ServiceTest, AnAnswerThatIsLateKeepsNoOtherWaiting)
{
    Start(R"({"cloud":{"answers":[{"to":"startup","how":"late","delay":5}]}})", 100);
    const auto link = Link();
    const TestSupport::Stopwatch watch;
    Ask(*link, MsgId::StartupRequest, "{}", 1);
    Ask(*link, MsgId::StartupRequest, "{}", 2);
    EXPECT_EQ(Receive(*link).seqNum, 2U);
    EXPECT_EQ(Receive(*link).seqNum, 1U);
    EXPECT_GE(watch.ElapsedMs(), 50.0);
}

TEST_F(ServiceTest, ItKnowsWhenItWasAskedAndWhenItAnswered)
{
    Start(R"({"cloud":{"answers":[{"to":"startup","how":"drop"},{"to":"startup","how":"late","delay":2}]}})", 100);
    const auto link = Link();
    Ask(*link, MsgId::StartupRequest);
    Ask(*link, MsgId::StartupRequest);
    Ask(*link, MsgId::RegisterRequest);
    (void)Receive(*link);
    (void)Receive(*link);
    // The second of the two messages may have come before the cloud noted that it had gone out.
    m_service->Stop();
    const std::vector<Lab::Cloud::Exchange> exchanges = m_service->GetExchanges();
    ASSERT_EQ(exchanges.size(), 2U) << "a registration is none of them";
    EXPECT_EQ(exchanges[0].how, "drop");
    EXPECT_EQ(exchanges[0].answered, std::nullopt);
    EXPECT_EQ(exchanges[1].how, "late");
    ASSERT_TRUE(exchanges[1].answered.has_value());
    EXPECT_GE(*exchanges[1].answered - exchanges[1].requested, milliseconds(20));
}

TEST_F(ServiceTest, WhatASilentCloudWasAskedIsUnansweredAndUsesNothingUp)
{
    Start(R"({"cloud":{"answers":[{"to":"startup","how":"refuse","code":404}]}})");
    const auto link = Link();
    m_service->Silence(milliseconds(100));
    Ask(*link, MsgId::StartupRequest);
    EXPECT_TRUE(IsSilent(*link));
    Shared::Time::SleepFor(milliseconds(100));
    Ask(*link, MsgId::StartupRequest);
    EXPECT_EQ(Receive(*link).payload, R"({"statusCode":404})");
    EXPECT_EQ(m_service->GetExchanges().at(0).answered, std::nullopt);
    EXPECT_EQ(m_service->GetExchanges().at(0).how, "");
}

TEST_F(ServiceTest, BitesMakeTheSameFrames)
{
    Start();
    const auto link = Link();
    m_service->Fragment({5, milliseconds(1)}, milliseconds(0));
    Ask(*link, MsgId::PollRequest);
    EXPECT_EQ(Receive(*link).msgId, MsgId::PollResponse);
}

TEST_F(ServiceTest, OrdersReachTheConnectorsThatAreThere)
{
    Start();
    EXPECT_EQ(m_service->Order(Order{}), 0U);
    const auto control = Connect({Role::Control, "", 4711});
    EXPECT_TRUE(Lab::Control::DecodeOrders(*control->Receive(Limit)).empty());
    Order order{.kind = OrderKind::Garble, .count = 3};
    while (m_service->Order(order) == 0)
    {
        Shared::Time::SleepFor(milliseconds(1));
    }
    EXPECT_EQ(Lab::Control::DecodeOrders(*control->Receive(Limit)), std::vector{order});
}

TEST_F(ServiceTest, OrdersForTheStartAreGivenToTheNextConnectorsAndNoMore)
{
    Start();
    const Order order{.kind = OrderKind::ExitAtStart, .exitCode = 7};
    m_service->OrderAtStart(order, 2);
    for (int i = 0; i < 2; ++i)
    {
        const auto control = Connect({Role::Control, "", 1});
        EXPECT_EQ(Lab::Control::DecodeOrders(*control->Receive(Limit)), std::vector{order});
    }
    const auto control = Connect({Role::Control, "", 1});
    EXPECT_TRUE(Lab::Control::DecodeOrders(*control->Receive(Limit)).empty());
}

TEST_F(ServiceTest, TheLinesOfAConnectorAndItsEndAreTold)
{
    Start();
    auto control = Connect({Role::Control, "", 4711});
    (void)control->Receive(Limit);
    control->Send(Lab::Control::EncodeLine("[info] a line"), Limit);
    AwaitTold("connector: [info] a line");
    control.reset();
    AwaitTold("vellab: connector 4711 has ended");
}

TEST_F(ServiceTest, StoppingEndsEveryStream)
{
    Start();
    const auto link = Link();
    const auto control = Connect({Role::Control, "", 1});
    (void)control->Receive(Limit);
    const auto mute = Socket::Connect(m_service->GetEndpoint(), Limit);
    m_service->Stop();
    m_service->Stop();
    EXPECT_EQ(link->Receive(Limit), std::nullopt);
    EXPECT_EQ(control->Receive(Limit), std::nullopt);
}

} // namespace
