#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Lab
{

/// What `vellab run` was asked for.
struct Options
{
    /// The agent's executable.
    std::filesystem::path agent;
    /// The connector's executable; empty: the agent finds none, and unless a scenario says otherwise nobody is signed in,
    /// so that it looks for none.
    std::filesystem::path connector;
    /// Where the laboratory's tools were built; empty: the agent finds none.
    std::filesystem::path tools;
    /// What is played; empty: an agent that nothing happens to.
    std::filesystem::path scenario;
    /// Where everything of this run is kept; made if it is missing, and must be empty.
    std::filesystem::path results;
    /// How long the agent runs before it is told to stop, in real time; nothing means until an interrupt.
    std::optional<std::chrono::milliseconds> duration = std::chrono::seconds(25);
    /// Whether that was asked for, and holds whatever the scenario says.
    bool isDurationGiven = false;
    /// What the agent's log is to say, in this order. Each start ends as soon as it has; one that ends without it failed.
    std::vector<std::string> until;
    /// What the settings name as the server.
    std::string server = "https://cloud.lab.example";
    /// As for the duration.
    bool isServerGiven = false;
    /// How often the agent is started on the same settings, one after the other.
    std::uint32_t starts = 1;
    /// How many times faster the laboratory's agent lives.
    double speed = 1.0;
    /// Starts the agent in debug mode, in which it makes its stop event itself.
    bool debug = false;
    /// Shows the whole log of the agent instead of its milestones.
    bool wholeLog = false;
};

/// Reads the arguments behind `run`. Throws std::invalid_argument with a sentence for people.
Options ParseOptions(const std::vector<std::string>& arguments);

/// How to call the program.
std::string UsageText();

} // namespace Lab
