#include "lab.vellab-runfolder.hpp"

#include "lab.tools-systemprogram.hpp"
#include "lab.vellab-surroundings.hpp"

#include <array>
#include <stdexcept>
#include <system_error>

namespace Lab
{

namespace
{

namespace fs = std::filesystem;

void Place(const fs::path& program, const fs::path& target)
{
    std::error_code error;
    fs::create_hard_link(program, target, error);
    if (error)
    {
        fs::copy_file(program, target);
    }
}

/// The tools that the agent starts out of its folder "bin". One of the system's is not ours to share a file with; where it has
/// none, ours stands in.
void PlaceTools(const fs::path& built, const fs::path& bin)
{
    const std::array<std::string, 3> own = {ProgramName("tcping"), ProgramName("mtr"), BmtrProgram};
    for (const std::string& tool : own)
    {
        Place(built / tool, bin / tool);
    }
    const std::string curl = ProgramName("curl");
    if (const fs::path systems = Tools::FindSystemProgram("curl"); !systems.empty())
    {
        fs::copy_file(systems, bin / curl);
    }
    else
    {
        Place(built / curl, bin / curl);
    }
}

} // namespace

RunFolder LayOutRunFolder(const Options& options)
{
    fs::create_directories(options.results);
    if (!fs::is_empty(options.results))
    {
        throw std::invalid_argument("the results folder " + options.results.string() + " is not empty");
    }
    RunFolder folder;
    folder.results = fs::absolute(options.results);
    folder.agent = folder.results / "agent";
    folder.program = folder.agent / ProgramName("AgentProcess");
    folder.cloud = folder.results / "cloud";
    folder.timeline = folder.results / "timeline.txt";
    fs::create_directories(folder.agent / "bin");
    fs::create_directories(folder.cloud);
    Place(options.agent, folder.program);
    if (!options.connector.empty())
    {
        Place(options.connector, folder.agent / ConnectorProgram);
    }
    if (!options.tools.empty())
    {
        PlaceTools(options.tools, folder.agent / "bin");
    }
    if (!options.scenario.empty())
    {
        fs::copy_file(options.scenario, folder.results / "scenario.json");
    }
    return folder;
}

} // namespace Lab
