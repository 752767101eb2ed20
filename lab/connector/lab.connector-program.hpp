#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Lab::Connector
{

/// How the connector ends.
namespace ExitCode
{
inline constexpr std::int32_t Stopped = 0;
/// The command line is not what the agent gives.
inline constexpr std::int32_t WrongUse = 2;
/// The agent's end of the message pipe is gone.
inline constexpr std::int32_t AgentGone = 3;
/// A pipe could not be opened.
inline constexpr std::int32_t NoPipe = 4;
} // namespace ExitCode

/// The whole life of the connector.
/// @param elements all elements of its command line.
/// @param folder where its file with the places of the servers is.
/// @return its exit code, one of the above or what the laboratory ordered.
std::int32_t RunConnector(const std::vector<std::string>& elements, const std::filesystem::path& folder);

} // namespace Lab::Connector
