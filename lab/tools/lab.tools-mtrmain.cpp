// The laboratory's mtr: takes the agent's arguments, lets Debian's program of the same name (package mtr-tiny) measure, and
// prints JSON with the names of the agent's message.
//
//   mtr --json [-4] [-c CYCLES] [--interval SECONDS] [--timeout SECONDS] [-q NUMBER]
//       [--show-ips] [--rtt-clamping] [--end-verification] TARGET
//
// --rtt-clamping shows no hop as further away than the target; --end-verification ends the list at the target, even when
// that never answered; -q is not needed, as runs at the same time do not get in each other's way. Both other options are
// told in "options" of the JSON. It ends with 0, or with 1 when it could not measure. On Windows, for which there is no such
// program, it measures itself, by ICMP echoes.

#include "lab.tools-mtr.hpp"

#include <string>
#include <vector>

int main(int argc, char** argv)
{
    return Lab::Tools::RunMtr(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
