#pragma once

#include <string>

namespace Lab::Tools
{

/// The first IPv4 address of a host, in numbers; an address is its own. Blocks as long as the system's resolver does. Throws
/// std::runtime_error with a sentence for people.
std::string ResolveAddress(const std::string& host);

/// The name of this machine; empty when the system does not tell.
std::string OwnHostName();

} // namespace Lab::Tools
