#pragma once

#include "lab.vellab-options.hpp"

#include <filesystem>

namespace Lab
{

/// The file name of the connector's program, on both platforms: that by which the agent starts it.
inline constexpr const char* ConnectorProgram = "VELPortalProcess.exe";

/// That of the tool for the ways of TCP, on both platforms.
inline constexpr const char* BmtrProgram = "bmtr.exe";

/// Where the things of one run are.
struct RunFolder
{
    std::filesystem::path results;
    /// The agent's own folder: its program, that of the connector beside it, and the folder "bin" for its tools.
    std::filesystem::path agent;
    std::filesystem::path program;
    /// Messages between cloud and agent.
    std::filesystem::path cloud;
    std::filesystem::path timeline;
};

/// Makes the folders and puts the programs in their places, as links to the built files where that is possible. With tools,
/// curl is the system's if it has one, and else the laboratory's. Throws std::invalid_argument when the results folder holds something,
/// std::filesystem::filesystem_error for a program that is not there.
RunFolder LayOutRunFolder(const Options& options);

} // namespace Lab
