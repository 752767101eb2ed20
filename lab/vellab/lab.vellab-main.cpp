#include "lab.scenario-catalogue.hpp"
#include "lab.scenario-parser.hpp"
#include "lab.vellab-options.hpp"
#include "lab.vellab-supervisor.hpp"
#include "shared.log-configuration.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr int WrongUse = 2;
constexpr int Failed = 1;

/// The kind of logging that writes nothing.
constexpr std::uint32_t NoLog = 0;

int RunLaboratory(const std::vector<std::string>& arguments)
{
    // What the product's functions log when the laboratory uses them is no news of the agent, whose log says it too.
    Shared::Log::ConfigureLogging(NoLog, Shared::Log::Level::Off, "", 1, 1);
    return Lab::IsGood(Lab::Supervise(Lab::ParseOptions(arguments), std::cout)) ? 0 : Failed;
}

int CheckScenarios(const std::vector<std::string>& files)
{
    int result = files.empty() ? WrongUse : 0;
    for (const std::string& file : files)
    {
        try
        {
            (void)Lab::ReadScenario(file);
            std::cout << file << ": good\n";
        }
        catch (const Lab::ScenarioError& problem)
        {
            std::cerr << problem.what() << '\n';
            result = Failed;
        }
    }
    return result;
}

int DescribeKeys(const std::vector<std::string>&)
{
    std::cout << Lab::DescribeScenarioKeys();
    return 0;
}

struct Command
{
    std::string_view name;
    int (*run)(const std::vector<std::string>& arguments);
};

constexpr std::array<Command, 3> Commands = {
    {{"run", &RunLaboratory}, {"check", &CheckScenarios}, {"keys", &DescribeKeys}}};

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool asksForHelp = !arguments.empty() && (arguments.back() == "--help" || arguments.back() == "-h");
    const auto* const command = std::find_if(
        Commands.begin(), Commands.end(),
        [&](const Command& known) { return !arguments.empty() && known.name == arguments.front(); });
    if (asksForHelp || command == Commands.end())
    {
        std::cout << Lab::UsageText();
        return asksForHelp ? 0 : WrongUse;
    }
    arguments.erase(arguments.begin());
    try
    {
        return command->run(arguments);
    }
    catch (const std::invalid_argument& problem)
    {
        std::cerr << "vellab: " << problem.what() << "\n\n" << Lab::UsageText();
        return WrongUse;
    }
    catch (const Lab::ScenarioError& problem)
    {
        std::cerr << problem.what() << '\n';
        return WrongUse;
    }
    catch (const std::exception& problem)
    {
        std::cerr << "vellab: " << problem.what() << '\n';
        return Failed;
    }
}
