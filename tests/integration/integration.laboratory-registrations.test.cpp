#include "integration.laboratoryfixture.hpp"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <vector>

// Every answer of the cloud to a registration, as the agent meets it.

namespace
{

using Integration::CountIn;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* Attempt = "Attempting to register agent...";
constexpr const char* Registered = "The agent registered successfully.";
constexpr const char* Existing = "Existing uuid for user found";
constexpr const char* Startup = "Main loop state: Startup";

/// Delays are short; what the cloud does not answer is given up after 10 s.
std::string Scenario(const std::string& answers, const std::string& more = "")
{
    return R"({"settings":{"MinimumRetryDelaySeconds":2,"MaximumRetryDelaySeconds":4,"ResponseTimeout":"00:00:10"},)" +
        more + R"("cloud":{"registration":[)" + answers + "]}}";
}

/// The registrations that the cloud has got, in their order.
std::vector<std::string> ReadRequests(const std::filesystem::path& cloud)
{
    std::set<std::filesystem::path> files;
    for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(cloud))
    {
        if (entry.path().filename().string().find("-from-agent-24000-") != std::string::npos)
        {
            files.insert(entry.path());
        }
    }
    std::vector<std::string> requests;
    std::transform(files.begin(), files.end(), std::back_inserter(requests), &Integration::ReadFile);
    return requests;
}

using LaboratoryRegistrationsTest = Integration::LaboratoryTest;

TEST_F(LaboratoryRegistrationsTest, AnIdentityIsStoredAndUsedAgainByTheNextStart)
{
    Lab::Options options = MakeOptions(Scenario(R"({"answer":"success"})"), {Existing, Startup});
    options.starts = 2;
    EXPECT_TRUE(Lab::IsGood(Run(options))) << Timeline() << Log();
    EXPECT_EQ(CountInLog("This agent is version "), 2U);
    EXPECT_EQ(CountInLog("No AgentUuid or RegisteredId found; reregistering..."), 1U);
    EXPECT_EQ(CountInLog(Attempt), 1U);
    EXPECT_EQ(CountInLog(Registered), 1U);
    EXPECT_EQ(CountIn(Timeline(), "cloud     | <- registration request (24000)"), 1U);
    EXPECT_THAT(Timeline(), HasSubstr("1 registration accepted"));
}

TEST_F(LaboratoryRegistrationsTest, ARedirectLeadsToTheServerThatItNames)
{
    Play(
        Scenario(R"({"answer":"redirect","server":"east.lab.example"},{"answer":"success"})"),
        {Attempt, "The register request has been redirected. Retrying against: east.lab.example:443", Attempt,
         "Linked to east.lab.example", Registered, Existing, Startup});
    EXPECT_THAT(Log().substr(0, Log().find(Registered)), Not(HasSubstr("RetryPrevious"))) << "it is no failure";
}

TEST_F(LaboratoryRegistrationsTest, ADoubleRedirectIsFollowedToItsEndAndToTheServerOfTheAccount)
{
    Play(
        Scenario(R"({"answer":"redirect","server":"east.lab.example"},)"
                 R"({"answer":"redirect","server":"https://west.lab.example:8443/"},)"
                 R"({"answer":"success","server":"https://home.lab.example"})"),
        {Attempt, "The register request has been redirected. Retrying against: east.lab.example:443", Attempt,
         "Linked to east.lab.example",
         "The register request has been redirected. Retrying against: west.lab.example:8443", Attempt,
         "Linked to west.lab.example", Registered, "Linked to home.lab.example",
         // The link's own line and the agent's next state race with each other.
         "Main loop state: InPolling"});
    EXPECT_EQ(CountInLog(Attempt), 3U);
}

TEST_F(LaboratoryRegistrationsTest, ARefusedIdentityIsForgottenAndTheNextRegistrationGoesWithoutOne)
{
    Play(
        Scenario(R"({"answer":"refuse-uuid"},{"answer":"success"})", R"("user":{"agentUuid":"uuid-of-before"},)"),
        {Attempt, "The agent received an instruction during registration: ",
         "The agent could not reregister subtenant lab-subtenant with existing UUID uuid-of-before as the server does not "
         "believe this is the correct UUID. Clearing the UUID...",
         "Main loop state: RetryPrevious", Attempt, Registered, Existing});
    const std::vector<std::string> requests = ReadRequests(Folder() / "results" / "cloud");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_THAT(requests[0], HasSubstr(R"("agentUuid": "uuid-of-before")"));
    EXPECT_THAT(requests[1], HasSubstr(R"("subTenantId": "lab-subtenant")"));
    EXPECT_THAT(requests[1], Not(HasSubstr("agentUuid")));
}

TEST_F(LaboratoryRegistrationsTest, AStopEndsTheAgentWithItsOwnCode)
{
    // It waits for nothing: the agent ends by itself.
    Play(R"({"exitCode":3500,"cloud":{"registration":[{"answer":"stop"}]}})", {});
    EXPECT_THAT(Timeline(), Not(HasSubstr("signals the stop event")));
    const std::string log = Log();
    std::size_t position = 0;
    for (const char* line :
         {Attempt, "The agent received an instruction during registration: ",
          "The agent was instructed to stop at the registration phase",
          "The agent received a stop command from the server and will now exit.",
          "AgentProcess ends with exit code 3500"})
    {
        position = log.find(line, position);
        ASSERT_NE(position, std::string::npos) << "missing or out of order: " << line << "\n" << log;
    }
}

/// An answer that makes the agent try again, and what it says of it.
struct Refusal
{
    const char* answer;
    const char* text;
};

class RefusedRegistrationTest : public Integration::LaboratoryTest, public ::testing::WithParamInterface<Refusal>
{
};

TEST_P(RefusedRegistrationTest, IsLoggedStoresNothingAndIsTriedAgainAfterTheDelay)
{
    Play(
        Scenario(std::string("{") + GetParam().answer + R"(},{"answer":"success"})"),
        {Attempt, GetParam().text, "Main loop state: RetryPrevious", "Retrying previous operation in 2000 ms",
         "Main loop state: Register", Attempt, Registered, Existing, Startup});
    EXPECT_EQ(CountIn(Timeline(), "cloud     | <- registration request (24000)"), 2U);
    EXPECT_EQ(CountInLog(Existing), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Answers,
    RefusedRegistrationTest,
    ::testing::Values(
        Refusal{R"("answer":"not-found")", "Server encountered a 404"},
        Refusal{R"("answer":"internal-error")", "Server encountered an internal error: 500"},
        Refusal{R"("answer":"internal-error","code":503,"delay":2)", "Server encountered an internal error: 503"},
        Refusal{R"("answer":"status","code":201)", "Unknown response code encountered: 201"},
        Refusal{
            R"("answer":"another-tenant")",
            "Unexpected subTenantId returned from server registration, expected lab-subtenant, got "
            "lab-subtenant-of-somebody-else."},
        Refusal{R"("answer":"delivery-failure")", "Server responded with Registration response failure"},
        Refusal{R"("answer":"rubbish")", "Failed to parse RegisterResponse <html>502 Bad Gateway</html>"},
        Refusal{R"("answer":"silence")", "Register success message timed out"}),
    [](const auto& refusal)
    {
        std::string name = refusal.param.answer;
        std::erase_if(name, [](unsigned char character) { return std::isalnum(character) == 0; });
        return name;
    });

} // namespace
