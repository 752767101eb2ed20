#pragma once

#include "lab.cloud-registration.hpp"
#include "lab.cloud-reply.hpp"
#include "lab.scenario-scenario.hpp"
#include "lab.wire-envelope.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

namespace Lab::Cloud
{

/// What the server says to each message of an agent: to registrations what the scenario lists, to all others what lets the
/// agent go on. Not synchronised.
class Responder
{
public:
    explicit Responder(const Scenario& scenario);

    /// The replies, in order; a message of another kind has none. One that expects an acknowledgement gets it first.
    std::vector<Reply> Respond(const Wire::Envelope& request, std::string_view server);

    /// What a server sends as soon as a link is up.
    static Reply Greet();

    const RegistrationDesk& GetDesk() const noexcept;

private:
    std::optional<Reply> Answer(const Wire::Envelope& request, std::string_view server);
    Reply AnswerConfiguration(std::string_view payload) const;
    Reply AnswerUserGroups(std::string_view payload) const;

    RegistrationDesk m_desk;
    std::vector<std::string> m_groups;
    std::shared_ptr<const rapidjson::Document> m_configuration;
};

/// The answer to a request for configuration: of each tree that it names the entries, of each key its value, below the one
/// member that is named as the agent.
/// @param configuration by its path; null is none.
std::string BuildConfiguration(
    const rapidjson::Value& request, const rapidjson::Value* configuration, std::string_view agentUuid);

} // namespace Lab::Cloud
