// The laboratory's curl, for a Windows that has none (Wine): asks for one URL by HTTP and tells how long each step took.
//
//   curl -w %{json} [-k] [--resolve HOST:PORT:ADDRESS] [--max-time SECONDS] [--proto-default SCHEME]
//        [--ssl-revoke-best-effort] [-s] [-o FILE] [-4] [--header TEXT]... URL
//
// Prints one JSON object with the names of curl's own, as far as the agent reads them: errormsg, exitcode, http_code,
// remote_ip, size_download, speed_download, time_namelookup, time_connect, time_appconnect (always 0), time_pretransfer,
// time_starttransfer, time_total. It ends with curl's own codes: 0 when there was an answer, whatever its code; 1 for any
// protocol but HTTP, as it speaks no TLS; 2 wrong call, 3 wrong URL, 6 no address, 7 not connected, 8 no answer of HTTP,
// 18 cut off, 28 time over, 52 nothing came, 55 and 56 the connection broke.
//
// It asks by HTTP/1.0 and follows no redirect; the body is counted and thrown away, whatever -o says. On Linux the system's
// own curl takes its place.

#include "lab.tools-curl.hpp"

#include <string>
#include <vector>

int main(int argc, char** argv)
{
    return Lab::Tools::RunCurl(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
