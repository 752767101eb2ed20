#pragma once

#include "agentcore.tests-testrequests.hpp"

#include <cstdint>
#include <string>
#include <vector>

/// The arguments of the network test tools, the program first. The order is part of what the tools were made for.
///
/// What the server names as a target stays one argument, and is never read as an option or for more than a target: what
/// the tools would take so is refused, since their lists have no place for a mark that ends the options. All functions are
/// pure, and throw the invalid-argument exception with a text that names what is refused:
/// - an empty target, and one with "-" at its front, whatever the tool;
/// - for curl: a target with ":" (a scheme, as that of local files, or a port of its own) or with one of "{}[]" (a pattern
///   that stands for several), a header with "@" at its front (a file of headers), the scheme "file".
namespace AgentCore::Tests
{

/// Throws when BuildCurlArguments() would.
void RequireCurlRequest(const CurlTestRequest& request);

/// @param resolvedIp the address of the target, which curl does not look up itself
/// @param nullDevice where the body goes
std::vector<std::wstring> BuildCurlArguments(
    const CurlTestRequest& request, const std::wstring& resolvedIp, const std::wstring& nullDevice);

/// Runners with different numbers send their probes from different blocks of 256 ports, from 33000 on.
std::vector<std::wstring> BuildMtrArguments(std::uint32_t runnerIndex, const std::wstring& target);

/// @param modeFlag which of its two ways to measure the tool takes
std::vector<std::wstring> BuildBmtrArguments(bool modeFlag, const std::wstring& target);

std::vector<std::wstring> BuildTcpPingArguments(const TcpPingRequest& request);

} // namespace AgentCore::Tests
