#include "lab.vellab-options.hpp"
#include "lab.vellab-supervisor.hpp"

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

constexpr int WrongUse = 2;
constexpr int Failed = 1;

int RunLaboratory(const std::vector<std::string>& arguments)
{
    const Lab::Outcome outcome = Lab::Supervise(Lab::ParseOptions(arguments), std::cout);
    return outcome.wasKilled || outcome.exitCode != 0 ? Failed : 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty() || arguments.front() != "run" || arguments.back() == "--help")
    {
        std::cout << Lab::UsageText();
        return arguments.empty() || arguments.back() != "--help" ? WrongUse : 0;
    }
    arguments.erase(arguments.begin());
    try
    {
        return RunLaboratory(arguments);
    }
    catch (const std::invalid_argument& problem)
    {
        std::cerr << "vellab: " << problem.what() << "\n\n" << Lab::UsageText();
        return WrongUse;
    }
    catch (const std::exception& problem)
    {
        std::cerr << "vellab: " << problem.what() << '\n';
        return Failed;
    }
}
