#include "contract.procreader.linux.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <fmt/format.h>

namespace Contract
{

namespace
{

void Run(const std::string& command)
{
    if (std::system(command.c_str()) != 0)
    {
        throw std::runtime_error("failed: " + command);
    }
}

} // namespace

std::istringstream ReadBy(const std::string& command)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output{::popen(command.c_str(), "r"), &::pclose};
    std::string text;
    std::array<char, 256> part{};
    while (output && std::fgets(part.data(), part.size(), output.get()) != nullptr)
    {
        text += part.data();
    }
    if (text.empty())
    {
        throw std::runtime_error("nothing was printed by: " + command);
    }
    return std::istringstream{text};
}

ProcessReading ReadProcess(std::uint32_t id)
{
    // The fields behind the program's name, whatever stands in that.
    auto output = ReadBy(fmt::format(
        "cd /proc/{} && awk '{{ sub(/^.*\\) /, \"\"); print $12 + $13, $22 }}' stat && awk '{{ print $2 }}' statm && "
        "readlink exe",
        id));
    ProcessReading reading;
    output >> reading.ticks >> reading.residentPages >> reading.summedPages >> std::ws;
    std::getline(output, reading.imagePath);
    return reading;
}

void ReadAllProcesses(const std::string& file)
{
    // Of a process that ends meanwhile, or belongs to the kernel, find prints no program.
    constexpr auto command = R"(
{{ find /proc/[0-9]* -maxdepth 1 -name exe -printf 'exe %h %l\n'; cat /proc/[0-9]*/stat; }} 2>/dev/null | awk '
$1 == "exe" {{ sub("/proc/", "", $2); if (NF > 2) hasProgram[$2] = 1; next }}
{{ id = $1; sub(/^.*\) /, ""); if (id in hasProgram) print id, $20, $12 + $13 }}' > '{}')";
    Run(fmt::format(command, file));
}

Share ComputeShare(const std::string& folder, std::uint32_t id)
{
    // A process is the same one when its id (1) and the moment of its start (2) are. Those that are in all readings have
    // been measured; those that are in both inner ones may have been.
    constexpr auto command = R"(
cd '{}' && awk '
FNR == 1 {{ reading++ }}
{{ ticks[reading, $1, $2] = $3; if (reading == 2) inner[$1 " " $2] = 1 }}
END {{
    for (key in inner) {{
        split(key, part, " "); p = part[1] SUBSEP part[2]
        if (!((3 SUBSEP p) in ticks)) continue
        used = ticks[3 SUBSEP p] - ticks[2 SUBSEP p]
        first = (1 SUBSEP p) in ticks ? ticks[1 SUBSEP p] : ticks[2 SUBSEP p]
        last = (4 SUBSEP p) in ticks ? ticks[4 SUBSEP p] : ticks[3 SUBSEP p]
        if ((1 SUBSEP p) in ticks && (4 SUBSEP p) in ticks) least += used
        most += last - first
        if (part[1] == {}) {{ own = used }}
    }}
    printf "%.6f %.6f\n", 100 * own / most, 100 * own / least
}}' 1 2 3 4)";
    Share share;
    ReadBy(fmt::format(command, folder, id)) >> share.least >> share.most;
    return share;
}

} // namespace Contract
