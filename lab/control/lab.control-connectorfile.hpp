#pragma once

#include "lab.net-endpoint.hpp"

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Lab::Control
{

/// What the laboratory leaves beside the connector's executable: the agent hands its connector the name of a server and no
/// place.
struct ConnectorFile
{
    /// The name in lower case, and where that server listens.
    std::map<std::string, Net::Endpoint> servers;
    /// Where orders come from.
    std::optional<Net::Endpoint> control;
    /// How long the connector waits before it tries a link again that is down.
    std::chrono::milliseconds reconnectDelay{1000};

    bool operator==(const ConnectorFile&) const = default;

    /// By name, without regard to case.
    std::optional<Net::Endpoint> FindServer(std::string_view name) const;
};

inline constexpr const char* ConnectorFileName = "connector.json";

/// The file's text.
std::string ToText(const ConnectorFile& file);

/// Throws std::runtime_error with a sentence that names what is wrong.
ConnectorFile ParseConnectorFile(std::string_view text);

/// Throws std::runtime_error with the file's name as well.
ConnectorFile ReadConnectorFile(const std::filesystem::path& folder);

/// Replaces the file in one step, so that a reader meets the old one or the new one. Throws std::runtime_error.
void WriteConnectorFile(const std::filesystem::path& folder, const ConnectorFile& file);

} // namespace Lab::Control
