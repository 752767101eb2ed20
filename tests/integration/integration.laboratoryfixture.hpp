#pragma once

#include "integration.agentfixture.hpp"
#include "lab.vellab-supervisor.hpp"

#include <chrono>
#include <sstream>
#include <string>
#include <vector>

namespace Integration
{

/// What a start of the agent in the laboratory may take at most, in real time.
inline constexpr std::chrono::milliseconds LaboratoryLimit(40'000 * VEL_TIME_SCALE);

/// Whole runs of the laboratory with the built agent, connector and cloud. Each start of the agent lasts until its log has
/// said what the test waits for.
class LaboratoryTest : public AgentTest
{
protected:
    /// How many times faster the agent lives than the test. Children still have to start within its seconds.
    static constexpr double Speed = 20.0 / VEL_TIME_SCALE;

    /// @param scenario the text of a scenario file.
    /// @param until what the agent's log has to say, in this order; nothing for an agent that ends by itself.
    Lab::Options MakeOptions(const std::string& scenario, const std::vector<std::string>& until) const;
    Lab::Outcome Run(const Lab::Options& options);

    /// Runs the scenario, and fails the test when the run is not good.
    void Play(const std::string& scenario, const std::vector<std::string>& until);

    /// What the laboratory told.
    std::string Timeline() const;
    /// The agent's log.
    std::string Log() const;
    /// How often `text` stands in the agent's log.
    std::size_t CountInLog(const std::string& text) const;

private:
    std::ostringstream m_timeline;
};

/// How often `text` stands in `where`.
std::size_t CountIn(const std::string& where, const std::string& text);

} // namespace Integration
