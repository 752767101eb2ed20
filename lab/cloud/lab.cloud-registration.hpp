#pragma once

#include "lab.cloud-reply.hpp"
#include "lab.scenario-scenario.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lab::Cloud
{

/// Answers registrations as the scenario lists it. Not synchronised.
class RegistrationDesk
{
public:
    explicit RegistrationDesk(const CloudBehaviour& behaviour);

    /// The answer to the next registration; nothing for silence.
    /// @param payload of the request; one that is no JSON gets the answer that a server gives then, 400.
    /// @param server at which the agent asks.
    std::optional<Reply> Answer(std::string_view payload, std::string_view server);

    /// Registrations that were accepted.
    std::size_t GetAccepted() const noexcept;
    /// How the last registration was answered; Success before the first one.
    AnswerKind GetLastAnswer() const noexcept;
    /// The identity under which the agent was registered last, or the one it would get now.
    const std::string& GetAgentUuid() const noexcept;

private:
    struct Request
    {
        std::string subTenantId;
        std::string agentUuid;
    };

    Reply Accept(const RegistrationAnswer& answer, const Request& request, std::string_view server);

    std::vector<RegistrationAnswer> m_answers;
    std::size_t m_next = 0;
    std::uint32_t m_accountId;
    std::string m_agentUuid;
    std::size_t m_accepted = 0;
    AnswerKind m_lastAnswer = AnswerKind::Success;
};

} // namespace Lab::Cloud
