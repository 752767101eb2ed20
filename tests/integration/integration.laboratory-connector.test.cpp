#include "integration.laboratory-fakeagent.hpp"
#include "lab.cloud-service.hpp"
#include "lab.connector-program.hpp"
#include "lab.control-connectorfile.hpp"
#include "lab.process-functions.hpp"
#include "lab.scenario-parser.hpp"
#include "lab.vellab-childprocess.hpp"
#include "lab.vellab-surroundings.hpp"
#include "lab.wire-names.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "test.support-temporaryfolder.hpp"

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <lz4frame.h>
#include <wire_protocol_v4.pb.h>

#include <gmock/gmock.h>

// The built connector as a process of its own, between pipes as the agent makes them and a cloud over TCP. The envelopes
// are made and read by the generated classes.

namespace
{

using Integration::FakeAgent;
using Lab::Control::Order;
using Lab::Control::OrderKind;
using std::chrono::milliseconds;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
namespace fs = std::filesystem;
namespace MsgId = Lab::Wire::MsgId;
using Message = VelRouter::V4_Message;

constexpr std::uint32_t LimitMs = 20'000U * VEL_TIME_SCALE;
constexpr std::uint32_t QuietMs = 100;

std::string Compress(const std::string& content)
{
    std::string frame(LZ4F_compressFrameBound(content.size(), nullptr), '\0');
    frame.resize(LZ4F_compressFrame(frame.data(), frame.size(), content.data(), content.size(), nullptr));
    return frame;
}

std::string Request(std::uint32_t msgId, std::uint32_t seqNum, const std::string& payload, std::uint32_t flags = 0)
{
    Message message;
    message.set_msg_id(msgId);
    message.set_seq_num(seqNum);
    message.set_src_comp(55);
    message.set_dst_comp(103);
    message.set_src_comp_uuid("00000000-0000-f000-f000-000000000055");
    message.set_flags(flags | 8U);
    message.set_payload(payload.empty() ? payload : Compress(payload));
    return message.SerializeAsString();
}

class ConnectorTest : public ::testing::Test
{
protected:
    ConnectorTest()
    {
        fs::create_directories(AgentFolder());
        Lab::UseOwnSurroundings(m_folder.Path());
        m_stop = Shared::Concurrency::Event(true, true, L"ConnectorStopEvent");
        m_agent = std::make_unique<FakeAgent>();
    }

    void StartCloud(const std::string& scenario = "{}")
    {
        m_cloud = std::make_unique<Lab::Cloud::Service>(
            Lab::ParseScenario(scenario), m_folder.Path() / "cloud", 1,
            [this](std::string_view who, std::string_view what)
            {
                const std::scoped_lock hold(m_lock);
                m_told += std::string(who) + ": " + std::string(what) + "\n";
            });
        Lab::Control::ConnectorFile file;
        file.servers["cloud.lab.example"] = m_cloud->GetEndpoint();
        file.control = m_cloud->GetEndpoint();
        file.reconnectDelay = milliseconds(20);
        Lab::Control::WriteConnectorFile(AgentFolder(), file);
    }

    void StartConnector(std::vector<std::string> arguments)
    {
        const fs::path tests = Shared::Util::GetCurrentExecutableDirectory();
        const fs::path program = AgentFolder() / "VELPortalProcess.exe";
        if (!fs::exists(program))
        {
            fs::copy_file(tests.parent_path().parent_path() / "lab" / "VELPortalProcess.exe", program);
        }
        Lab::ChildRequest request;
        request.program = program;
        request.arguments = std::move(arguments);
        request.namesProgram = false;
        request.workingFolder = AgentFolder();
        request.output = m_folder.Path() / "output.txt";
        request.errors = m_folder.Path() / "errors.txt";
        m_connector = std::make_unique<Lab::ChildProcess>(request);
    }

    /// As the agent does it.
    void StartConnector()
    {
        using Shared::Util::ConvertStringType;
        StartConnector(
            {"-s", "cloud.lab.example", "-p", ConvertStringType(m_agent->messageName), "-l",
             ConvertStringType(m_agent->logName)});
    }

    /// Up to the router's greeting, so that the link is known to be up.
    void StartAll(const std::string& scenario = "{}")
    {
        StartCloud(scenario);
        StartConnector();
        ASSERT_TRUE(m_agent->messages.AwaitClient(LimitMs)) << Errors();
        ASSERT_TRUE(m_agent->lines.AwaitClient(LimitMs));
        ASSERT_EQ(ReceiveMessage().msg_id(), MsgId::RouterFeatures) << Told();
    }

    Message ReceiveMessage()
    {
        Message message;
        const std::optional<std::string> bytes = m_agent->messages.Receive(LimitMs);
        EXPECT_TRUE(bytes.has_value()) << Told();
        EXPECT_TRUE(message.ParseFromString(bytes.value_or("")));
        return message;
    }

    void Send(const std::string& message)
    {
        ASSERT_TRUE(m_agent->messages.Send(message, LimitMs));
    }

    std::optional<std::int32_t> AwaitExit()
    {
        if (!Shared::Concurrency::WaitFor(m_connector->GetHandle(), LimitMs))
        {
            return std::nullopt;
        }
        return m_connector->GetExitStatus();
    }

    std::string Told()
    {
        const std::scoped_lock hold(m_lock);
        return m_told;
    }

    void AwaitTold(const std::string& text)
    {
        const auto end = Shared::Time::MonotonicNow() + milliseconds(LimitMs);
        while (Told().find(text) == std::string::npos)
        {
            ASSERT_LT(Shared::Time::MonotonicNow(), end) << "never told: " << text << "\nbut:\n" << Told();
            Shared::Time::SleepFor(milliseconds(5));
        }
    }

    std::string Errors() const
    {
        return TestSupport::ReadFile(m_folder.Path() / "errors.txt");
    }

    fs::path AgentFolder() const
    {
        return m_folder.Path() / "agent";
    }

    TestSupport::TemporaryFolder m_folder;
    std::mutex m_lock;
    std::string m_told;
    Shared::Concurrency::Event m_stop;
    std::unique_ptr<FakeAgent> m_agent;
    std::unique_ptr<Lab::Cloud::Service> m_cloud;
    std::unique_ptr<Lab::ChildProcess> m_connector;
};

TEST_F(ConnectorTest, ARegistrationGoesUpAndItsAnswerComesDown)
{
    StartAll();
    Send(Request(MsgId::RegisterRequest, 4001, R"({"version":"1.0.0","subTenantId":"lab-subtenant"})"));
    const Message answer = ReceiveMessage();
    EXPECT_EQ(answer.msg_id(), MsgId::RegisterResponse);
    EXPECT_EQ(answer.seq_num(), 4001U);
    EXPECT_EQ(answer.status(), 0U);
    EXPECT_NE(answer.flags(), 1U) << "it is no acknowledgement";
    EXPECT_THAT(answer.payload(), HasSubstr(R"("statusCode":200)"));
    EXPECT_THAT(answer.payload(), HasSubstr(R"("subTenantId":"lab-subtenant")"));
    EXPECT_THAT(
        TestSupport::ReadFile(m_folder.Path() / "cloud" / "0002-from-agent-24000-registration-request.json"),
        HasSubstr(R"("payload": {"version":"1.0.0","subTenantId":"lab-subtenant"})"));
}

TEST_F(ConnectorTest, MessagesOfEverySizeAroundThePipesBufferGoThrough)
{
    StartAll();
    std::uint32_t seqNum = 0;
    for (const std::size_t size : {0U, 1U, 5119U, 5120U, 5121U, 65536U, 3'000'000U})
    {
        Send(Request(MsgId::PollRequest, ++seqNum, std::string(size, 'p')));
        EXPECT_EQ(ReceiveMessage().seq_num(), seqNum) << size;
        m_cloud->Send(MsgId::ConfigChanges, std::string(size, 'c'));
        EXPECT_EQ(ReceiveMessage().payload().size(), size);
    }
}

TEST_F(ConnectorTest, AMessageThatWantsAnAcknowledgementGetsOne)
{
    StartAll();
    Send(Request(MsgId::HistoricPollRequest, 77, "{}", 1024));
    const Message acknowledgement = ReceiveMessage();
    EXPECT_EQ(acknowledgement.flags(), 1U);
    EXPECT_EQ(acknowledgement.status(), 0U);
    EXPECT_EQ(acknowledgement.msg_id(), MsgId::HistoricPollRequest);
    EXPECT_EQ(acknowledgement.seq_num(), 77U);
}

TEST_F(ConnectorTest, ItsLinesComeOneByOneWithTheirLevels)
{
    StartAll();
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_THAT(
            m_agent->lines.Receive(LimitMs).value_or(""),
            AnyOf(StartsWith("[info] "), StartsWith("[debug] "), StartsWith("[warning] "), StartsWith("[error] ")));
    }
    AwaitTold("connector: [info] Linked to cloud.lab.example at 127.0.0.1:");
}

TEST_F(ConnectorTest, TheStopEventEndsIt)
{
    StartAll();
    m_stop.Signal();
    EXPECT_EQ(AwaitExit(), Lab::Connector::ExitCode::Stopped);
}

TEST_F(ConnectorTest, AnAgentThatIsGoneEndsIt)
{
    StartAll();
    m_agent->messages.Close();
    EXPECT_EQ(AwaitExit(), Lab::Connector::ExitCode::AgentGone);
}

TEST_F(ConnectorTest, ACommandLineThatIsNotTheAgentsIsExplained)
{
    StartConnector({"-s", "cloud.lab.example", "-p"});
    EXPECT_EQ(AwaitExit(), Lab::Connector::ExitCode::WrongUse);
    EXPECT_THAT(Errors(), HasSubstr("connector: -p names no value for the message pipe"));
    EXPECT_THAT(Errors(), HasSubstr("-s SERVER -p PIPE -l LOGPIPE"));
}

TEST_F(ConnectorTest, APipeThatIsNotThereEndsIt)
{
    StartConnector({"-s", "s", "-p", "there-is-no-such-pipe", "-l", "nor-this"});
    EXPECT_EQ(AwaitExit(), Lab::Connector::ExitCode::NoPipe);
    EXPECT_THAT(Errors(), HasSubstr("the pipe there-is-no-such-pipe could not be opened"));
}

TEST_F(ConnectorTest, WithoutACloudItWaitsForOneAndKeepsWhatItGot)
{
    StartConnector();
    ASSERT_TRUE(m_agent->messages.AwaitClient(LimitMs));
    ASSERT_TRUE(m_agent->lines.AwaitClient(LimitMs));
    Send(Request(MsgId::PollRequest, 5, "{}"));
    StartCloud();
    EXPECT_EQ(ReceiveMessage().msg_id(), MsgId::RouterFeatures);
    EXPECT_EQ(ReceiveMessage().seq_num(), 5U);
}

TEST_F(ConnectorTest, ALinkThatWasCutComesBackWithItsGreeting)
{
    StartAll();
    EXPECT_EQ(m_cloud->CutLinks(milliseconds(100)), 1U);
    Send(Request(MsgId::PollRequest, 6, "{}"));
    EXPECT_EQ(ReceiveMessage().msg_id(), MsgId::RouterFeatures);
    EXPECT_EQ(ReceiveMessage().seq_num(), 6U);
}

TEST_F(ConnectorTest, AMessageThatIsNoEnvelopeIsDroppedAndTold)
{
    StartAll();
    Send("\x07 no envelope");
    Send(Request(MsgId::PollRequest, 8, "{}"));
    EXPECT_EQ(ReceiveMessage().seq_num(), 8U);
    AwaitTold("[error] Dropped 13 bytes from the agent that are no envelope");
}

TEST_F(ConnectorTest, OrderedToEndAtItsStartItOpensNoPipe)
{
    StartCloud();
    m_cloud->OrderAtStart({.kind = OrderKind::ExitAtStart, .exitCode = 42}, 1);
    StartConnector();
    EXPECT_EQ(AwaitExit(), 42);
    EXPECT_FALSE(m_agent->messages.AwaitClient(0));
    AwaitTold("connector: [warning] Ordered to end at once with 42");
}

TEST_F(ConnectorTest, OrderedNeverToConnectItWaitsForTheStopEvent)
{
    StartCloud();
    m_cloud->OrderAtStart({.kind = OrderKind::NeverConnect}, 1);
    StartConnector();
    AwaitTold("connector: [warning] Ordered never to open a pipe");
    EXPECT_FALSE(m_agent->messages.AwaitClient(QuietMs));
    EXPECT_FALSE(m_connector->GetExitStatus().has_value());
    m_stop.Signal();
    EXPECT_EQ(AwaitExit(), Lab::Connector::ExitCode::Stopped);
}

TEST_F(ConnectorTest, GarbageReachesTheAgentAsWholeMessages)
{
    StartAll();
    EXPECT_EQ(m_cloud->Order({.kind = OrderKind::Garble, .count = 2, .size = 6000}), 1U);
    for (int i = 0; i < 2; ++i)
    {
        const std::string garbage = m_agent->messages.Receive(LimitMs).value_or("");
        EXPECT_EQ(garbage.size(), 6000U);
        EXPECT_FALSE(Message().ParseFromString(garbage));
    }
}

TEST_F(ConnectorTest, WhileItHangsNothingMovesAndThenEverythingDoes)
{
    StartAll();
    EXPECT_EQ(m_cloud->Order({.kind = OrderKind::Hang, .duration = milliseconds(700)}), 1U);
    AwaitTold("[warning] Ordered to misbehave: hang");
    Send(Request(MsgId::PollRequest, 9, "{}"));
    EXPECT_FALSE(m_agent->messages.Receive(QuietMs).has_value());
    EXPECT_EQ(ReceiveMessage().seq_num(), 9U);
}

TEST_F(ConnectorTest, OneThatHangsForGoodDoesNotStopAndCanBeKilled)
{
    StartAll();
    EXPECT_EQ(m_cloud->Order({.kind = OrderKind::Hang}), 1U);
    AwaitTold("[warning] Ordered to misbehave: hang");
    m_stop.Signal();
    EXPECT_FALSE(Shared::Concurrency::WaitFor(m_connector->GetHandle(), 3 * QuietMs));
    const auto children = Lab::Process::DescendantsOf(Lab::Process::OwnId(), Lab::Process::List());
    ASSERT_EQ(children.size(), 1U);
    EXPECT_TRUE(Lab::Process::HasName(children[0], "VELPortalProcess.exe"));
    EXPECT_EQ(children[0].id, m_connector->GetId());
    EXPECT_TRUE(Lab::Process::Kill(children[0]));
    EXPECT_EQ(AwaitExit(), 137);
}

TEST_F(ConnectorTest, AFloodArrivesWholeAndInOrder)
{
    StartAll();
    EXPECT_EQ(m_cloud->Flood(2000, 300), 1U);
    for (std::uint32_t i = 1; i <= 2000; ++i)
    {
        ASSERT_EQ(ReceiveMessage().seq_num(), i);
    }
}

TEST_F(ConnectorTest, InBitesOnTheLinkMessagesAreStillWhole)
{
    StartAll();
    m_cloud->Fragment({7, milliseconds(1)}, milliseconds(0));
    EXPECT_EQ(m_cloud->Order({.kind = OrderKind::Fragment, .pause = milliseconds(1), .size = 7}), 1U);
    Send(Request(MsgId::PollRequest, 10, "{}"));
    EXPECT_EQ(ReceiveMessage().seq_num(), 10U);
}

} // namespace
