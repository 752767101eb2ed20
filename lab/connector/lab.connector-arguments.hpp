#pragma once

#include <string>
#include <vector>

namespace Lab::Connector
{

/// What the agent tells its connector.
struct Arguments
{
    /// The host of the server; never a port.
    std::string server;
    /// Names of the message pipe and of the log pipe, without a prefix.
    std::string messagePipe;
    std::string logPipe;

    bool operator==(const Arguments&) const = default;
};

/// Reads `-s SERVER -p PIPE -l LOGPIPE`, in any order, out of all elements of a command line. The first one is looked at as
/// well: the agent gives the options alone, without the name of a program in front. Elements that are no option are passed
/// over; of an option that comes twice, the last one holds. Throws std::invalid_argument with a sentence for people.
Arguments ParseArguments(const std::vector<std::string>& elements);

} // namespace Lab::Connector
