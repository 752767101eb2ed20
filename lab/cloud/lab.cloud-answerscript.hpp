#pragma once

#include "lab.cloud-reply.hpp"
#include "lab.scenario-scenario.hpp"

#include <optional>
#include <vector>

namespace Lab::Cloud
{

/// The scenario's list of answers to requests, as far as it is not used up. Not synchronised.
class AnswerScript
{
public:
    explicit AnswerScript(std::vector<ScriptedAnswer> answers);

    /// The entry for the next request of this kind, which uses it up once; nothing when there is none left for it.
    std::optional<ScriptedAnswer> Take(RequestKind kind);

private:
    std::vector<ScriptedAnswer> m_answers;
};

/// What is sent, in this order, in the place of the good answer.
/// @param good with its own message id.
std::vector<Reply> Misanswer(const ScriptedAnswer& scripted, const Reply& good);

} // namespace Lab::Cloud
