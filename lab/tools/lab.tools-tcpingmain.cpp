// The laboratory's tcping: measures how long it takes to connect to a TCP port.
//
//   tcping [-n COUNT] [-i SECONDS] [-w SECONDS] [-j] [-p PORT] TARGET
//
// COUNT probes (4), each begun SECONDS (-i, 1) after the one before, each of which waits for at most SECONDS (-w, 2); PORT
// is 80 unless said. A line for each probe as soon as its outcome is known, then a summary, all ended with CR LF:
//
//   Probing 192.0.2.1:80/tcp - Port is open - time=12.345ms
//   Probing 192.0.2.1:80/tcp - No response - time=2000.123ms
//
//   Statistics of host.example:80
//        2 probes sent.
//        1 successful, 1 failed.  (50.00% fail)
//   Approximate trip times in milliseconds:
//        Minimum = 12.345ms, Maximum = 12.345ms, Average = 12.345ms
//   Jitter:                                                            (with -j, and from two times on)
//        Minimum = 0.100ms, Maximum = 0.300ms, Average = 0.200ms
//
// At the break signal it leaves the probe that is under way uncounted, prints the summary and ends. It ends with 0 when the
// port was open each time, 1 when it was not, 2 when it was stopped before it knew anything, 3 when it could not measure.

#include "lab.tools-tcping.hpp"

#include <string>
#include <vector>

int main(int argc, char** argv)
{
    return Lab::Tools::RunTcping(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
