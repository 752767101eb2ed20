#include "integration.laboratoryfixture.hpp"
#include "shared.winreg-functions.hpp"

#include <string>
#include <vector>

// Each fault of the laboratory, as the agent meets it, and the agent at work again behind it. What the agent's log says
// stands in the order in which it has to say it.

namespace
{

using Integration::CountIn;
using ::testing::HasSubstr;
using ::testing::Not;
using Lines = std::vector<std::string>;

constexpr const char* Started = "Attempting to start Connector...";
constexpr const char* Connected = "IOWorker successfully connected";
constexpr const char* Linked = "Connector: [info] Linked to cloud.lab.example at 127.0.0.1:";
constexpr const char* Registered = "The agent registered successfully.";
constexpr const char* NotEstablished =
    "Failed to establish pipe to VELPortalProcess. Please ensure that any security software you have installed is not "
    "interfering with VELPortalProcess.exe.";

class LaboratoryFaultsTest : public Integration::LaboratoryTest
{
protected:
    /// An agent whose second delay is twice its first one, and the last one that grows.
    static std::string Scenario(const std::string& faults, const std::string& more = "")
    {
        return R"({"settings":{"MinimumRetryDelaySeconds":2,"MaximumRetryDelaySeconds":4},)" + more + R"("faults":[)" +
            faults + "]}";
    }

    /// What the log says behind the start up to the link on which everything goes on.
    static Lines AfterTheLink(const Lines& more)
    {
        Lines lines = {Registered, Started, Connected, Linked};
        lines.insert(lines.end(), more.begin(), more.end());
        return lines;
    }
};

TEST_F(LaboratoryFaultsTest, AConnectorThatIsKilledIsStartedAgainAfterTheFirstDelay)
{
    Play(
        Scenario(R"({"fault":"kill-connector","after":"link","delay":2})"),
        AfterTheLink({"Connector unexpectedly exited", "IOWorker will retry in 2000ms", Started, Connected, Linked}));
    EXPECT_THAT(Timeline(), HasSubstr("fault     | kill-connector: ended 1 connector\n"));
}

TEST_F(LaboratoryFaultsTest, AConnectorThatHangsForAWhileDeliversWhatWaitedForIt)
{
    Play(
        Scenario(R"({"fault":"hang-connector","after":"link","delay":2,"seconds":20},)"
                 R"({"fault":"send-message","after":"link","delay":8,"msgId":89,"payload":{"waited":true}})"),
        AfterTheLink({R"({"waited":true})"}));
    EXPECT_THAT(Timeline(), HasSubstr("fault     | hang-connector: told 1 connector, for 20 s\n"));
    EXPECT_THAT(Timeline(), HasSubstr("connector | [warning] Ordered to misbehave: hang\n"));
    EXPECT_EQ(CountInLog(Started), 3U) << "nothing told the agent to make another one";
}

TEST_F(LaboratoryFaultsTest, AConnectorThatHangsForGoodDuringARegistrationIsReplacedForTheNextOne)
{
    Play(
        Scenario(
            R"({"fault":"hang-connector","after":"registration"})",
            R"("cloud":{"registration":[{"answer":"success","delay":25},{"answer":"success"}]},)"),
        {"Register success message timed out", "Main loop state: RetryPrevious", "Main loop state: Register", Started,
         Connected, Linked, Registered});
}

TEST_F(LaboratoryFaultsTest, AConnectorThatHangsForGoodDoesNotOutliveTheAgent)
{
    Play(
        R"({"cloud":{"registration":[{"answer":"success","delay":25}]},)"
        R"("faults":[{"fault":"hang-connector","after":"registration"}]})",
        {"Register success message timed out"});
    EXPECT_THAT(Timeline(), HasSubstr("hang-connector: told 1 connector, for good\n"));
    EXPECT_THAT(Timeline(), Not(HasSubstr(" behind (")));
}

TEST_F(LaboratoryFaultsTest, AConnectorThatEndsAtItsStartIsStartedAgainAtGrowingDelays)
{
    Play(
        Scenario(R"({"fault":"exit-at-start","exitCode":7,"count":2})"),
        {Started, "VELPortalProcess unexpectedly exited: 7", NotEstablished, "IOWorker will retry in 2000ms", Started,
         "VELPortalProcess unexpectedly exited: 7", NotEstablished, "IOWorker will retry in 4000ms", Started, Connected,
         Registered});
    EXPECT_EQ(CountIn(Timeline(), "connector | [warning] Ordered to end at once with 7\n"), 2U);
}

TEST_F(LaboratoryFaultsTest, AConnectorThatNeverConnectsIsGivenUpAndStartedAgain)
{
    Play(
        Scenario(R"({"fault":"never-connect"})"),
        {Started, NotEstablished, "IOWorker will retry in 2000ms", Started, Connected, Registered});
    EXPECT_THAT(Timeline(), HasSubstr("connector | [warning] Ordered never to open a pipe\n"));
    EXPECT_THAT(Log(), Not(HasSubstr("VELPortalProcess unexpectedly exited")));
}

TEST_F(LaboratoryFaultsTest, AFrameThatIsGarbledIsMetAgainAtGrowingDelaysUntilTheConnectorIsAnotherOne)
{
    Play(
        Scenario(R"({"fault":"garble-frame","after":"link","delay":2},)"
                 R"({"fault":"kill-connector","after":"link","delay":30})"),
        AfterTheLink(
            {"Exception in IOWorker main loop: ", "IOWorker will retry in 2000ms", "Exception in IOWorker main loop: ",
             "IOWorker will retry in 4000ms", "Connector unexpectedly exited", Started, Connected, Linked}));
}

TEST_F(LaboratoryFaultsTest, AGarbledFrameBeyondThePipesBufferIsMetAgainToo)
{
    Play(
        Scenario(R"({"fault":"garble-frame","after":"link","delay":2,"size":6000},)"
                 R"({"fault":"kill-connector","after":"link","delay":30})"),
        AfterTheLink(
            {"Exception in IOWorker main loop: ", "IOWorker will retry in 2000ms", "Exception in IOWorker main loop: ",
             "IOWorker will retry in 4000ms", "Connector unexpectedly exited", Started, Connected, Linked}));
}

TEST_F(LaboratoryFaultsTest, ACloudThatSpeaksInBitesIsUnderstood)
{
    Play(Scenario(R"({"fault":"fragment","size":3,"pause":0.02})"), {Linked, Registered, Connected, Linked});
    EXPECT_THAT(Timeline(), HasSubstr("fault     | fragment: "));
}

TEST_F(LaboratoryFaultsTest, AFloodIsTakenWholeAndInOrderAndTheAgentStillHears)
{
    Play(
        Scenario(R"({"fault":"flood","after":"link","delay":2,"count":1500,"size":300},)"
                 R"({"fault":"send-message","after":"link","delay":4,"msgId":89,"payload":{"behind":"the flood"}})"),
        AfterTheLink({"SeqNum 1\n", "SeqNum 750\n", "SeqNum 1500\n", R"({"behind":"the flood"})"}));
    EXPECT_GE(CountInLog(R"(Payload: {"flood":"xxxx)"), 1500U);
    EXPECT_EQ(CountInLog(Started), 3U) << "it loses no connector by it";
}

TEST_F(LaboratoryFaultsTest, MessagesThatComeSlowlyAreEachTakenWhenTheyCome)
{
    Play(
        Scenario(R"({"fault":"trickle","after":"link","delay":2,"count":3,"pause":1})"),
        AfterTheLink({"SeqNum 3\n", "SeqNum 2\n", "SeqNum 1\n"}));
}

TEST_F(LaboratoryFaultsTest, ALinkThatIsCutComesBackWithoutAnotherConnector)
{
    Play(
        Scenario(R"({"fault":"cut-link","after":"link","delay":2,"seconds":10})"),
        AfterTheLink({"Connector: [warning] The link to cloud.lab.example is down: ", Linked}));
    EXPECT_EQ(CountInLog(Started), 3U);
    EXPECT_THAT(Timeline(), HasSubstr("fault     | cut-link: 1 link, for 10 s\n"));
    EXPECT_EQ(CountIn(Timeline(), "cloud     | the link to cloud.lab.example is down: it is cut\n"), 1U)
        << "told once, however often it was tried meanwhile";
}

TEST_F(LaboratoryFaultsTest, ARegistrationWaitsForALinkThatIsCutAndSucceedsOnceItIsBack)
{
    Play(Scenario(R"({"fault":"cut-link","seconds":20})"), {"Attempting to register agent...", Linked, Registered});
    EXPECT_EQ(CountInLog("Attempting to register agent..."), 1U);
}

TEST_F(LaboratoryFaultsTest, ACloudThatFallsSilentCostsARegistrationItsTimeAndIsAskedAgain)
{
    Play(
        R"({"settings":{"MinimumRetryDelaySeconds":2,"MaximumRetryDelaySeconds":4,"ResponseTimeout":"00:00:10"},)"
        R"("faults":[{"fault":"silence-cloud","seconds":20}]})",
        {Linked, "Register success message timed out", "Main loop state: RetryPrevious",
         "Retrying previous operation in 2000 ms", "Main loop state: Register", Linked, Registered});
    EXPECT_THAT(Timeline(), HasSubstr("cloud     | <- registration request (24000)"));
}

TEST_F(LaboratoryFaultsTest, AUserWhoSignsInIsRegisteredWithoutANewStart)
{
    Play(
        Scenario(
            R"({"fault":"change-user","at":20,"user":{"subtenant":"the-new-one"}})", R"("user":{"signedIn":false},)"),
        {"Main loop state: Disconnected", "Connection re-established", "Main loop state: Initialise", Registered});
    EXPECT_EQ(CountInLog("This agent is version "), 1U);
    EXPECT_THAT(Timeline(), HasSubstr("fault     | change-user: lab.user\n"));
}

TEST_F(LaboratoryFaultsTest, WhatTheVpnClientChangesStandsInTheRegistry)
{
    Play(Scenario(R"({"fault":"change-vpn","vpn":{"tunnel-status":"internal"}})"), {Registered});
    EXPECT_EQ(
        Shared::WinReg::GetStringValue(
            Shared::WinReg::Root::LocalMachine, L"SOFTWARE\\Tarvane\\Norvik\\VEL", L"tunnel-status"),
        L"internal");
}

} // namespace
