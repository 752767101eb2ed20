// The laboratory's bmtr: who is on the way to a target, how far each of them is, and how much is lost.
//
//   bmtr PROBES NAMES TIMES CYCLES INTERVAL TIMEOUT TARGET PORT
//
//   PROBES    s: TCP connection requests to PORT, which are taken back; u: datagrams to PORT; e: ICMP echoes
//   NAMES     i: hops are shown by their addresses
//   TIMES     n: the probes of a cycle are spread over its interval; f: from the second cycle on, all are sent at once
//   CYCLES    how often each hop is asked
//   INTERVAL  seconds from cycle to cycle
//   TIMEOUT   seconds after which an answer counts as lost
//
// Prints JSON with the names of the agent's message. At the break signal it prints what it knows by then. It ends with 0, or
// with 1 when it could not measure. On Linux it needs raw sockets. On Windows, where the system tells the time to live of no
// other probes, all of them are ICMP echoes, as "options" in the JSON says.

#include "lab.tools-bmtr.hpp"

#include <string>
#include <vector>

int main(int argc, char** argv)
{
    return Lab::Tools::RunBmtr(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
