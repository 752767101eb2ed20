#pragma once

#include <chrono>
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
    /// Where everything of this run is kept; made if it is missing, and must be empty.
    std::filesystem::path results;
    /// How long the agent runs before it is told to stop; nothing means until an interrupt.
    std::optional<std::chrono::milliseconds> duration = std::chrono::seconds(25);
    /// What the settings name as the server.
    std::string server = "https://cloud.lab.example";
    /// How many times faster the laboratory's agent lives.
    double speed = 1.0;
    /// Starts the agent in debug mode, in which it makes its stop event itself.
    bool debug = false;
};

/// Reads the arguments behind `run`. Throws std::invalid_argument with a sentence for people.
Options ParseOptions(const std::vector<std::string>& arguments);

/// How to call the program.
std::string UsageText();

} // namespace Lab
