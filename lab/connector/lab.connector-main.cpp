// The laboratory's connector: the program that takes the place of VELPortalProcess.exe beside the agent.
//
//   -s SERVER -p PIPE -l LOGPIPE      as the agent gives it: no program's name in front
//
// It carries the agent's messages between the message pipe and the cloud of the laboratory, over TCP on the loopback
// address, and its own lines to the log pipe. Where servers are is told by connector.json in its own folder. It ends when
// the event "ConnectorStopEvent" is signalled (0), when the agent is gone (3), when a pipe cannot be opened (4), and for a
// wrong command line (2). It misbehaves as vellab orders it to; docs/laboratory.md tells how.

#include "lab.connector-program.hpp"
#include "shared.util-functions.hpp"

#include <exception>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    constexpr int Failed = 1;
    try
    {
        return Lab::Connector::RunConnector(
            std::vector<std::string>(argv, argv + argc), Shared::Util::GetCurrentExecutableDirectory());
    }
    catch (const std::exception& problem)
    {
        std::cerr << "connector: " << problem.what() << '\n';
        return Failed;
    }
}
