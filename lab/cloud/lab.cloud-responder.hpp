#pragma once

#include "lab.cloud-answerscript.hpp"
#include "lab.cloud-registration.hpp"
#include "lab.cloud-reply.hpp"
#include "lab.scenario-scenario.hpp"
#include "lab.wire-envelope.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

namespace Lab::Cloud
{

/// What the server says to one message.
struct Response
{
    /// In order; none to a message of another kind. The acknowledgement stands first where one is expected.
    std::vector<Reply> replies;
    /// By which name the scenario lists this way of answering; empty when it is as an agent wishes it.
    std::string how;
};

/// What the server says to each message of an agent: what the scenario lists for it, or else what lets the agent go on. Not
/// synchronised.
class Responder
{
public:
    explicit Responder(const Scenario& scenario);

    Response Respond(const Wire::Envelope& request, std::string_view server);

    /// Patches the agent's own configuration (Json::Merge).
    void ChangeConfiguration(const rapidjson::Value& patch);
    /// What is answered from now on.
    void ChangeGroups(std::vector<std::string> groups);
    /// The groups of the user who was asked for last.
    Reply TellGroups() const;

    /// What a server sends as soon as a link is up.
    static Reply Greet();

    const RegistrationDesk& GetDesk() const noexcept;

private:
    std::optional<Reply> Answer(const Wire::Envelope& request, std::string_view server);
    Reply AnswerConfiguration(std::string_view payload) const;

    RegistrationDesk m_desk;
    AnswerScript m_script;
    std::vector<std::string> m_groups;
    std::string m_user;
    rapidjson::Document m_configuration;
    std::vector<OtherOwner> m_otherOwners;
};

/// Whose configuration stands in an answer.
struct Owner
{
    std::string_view uuid;
    /// By its path.
    const rapidjson::Value& configuration;
};

/// The answer to a request for configuration: below a member for each owner, in their order, the entries of each tree that it
/// names, and each key with its value.
std::string BuildConfiguration(const rapidjson::Value& request, const std::vector<Owner>& owners);

} // namespace Lab::Cloud
