// The agent as the laboratory runs it: the same code as the shipped one, with a switch for its clock in front.
//
//   --clock-speed=X   everything that the agent does by the clock happens X times as fast

#include "agentprocess.entrypoints.hpp"
#include "shared.time-clockcontrol.hpp"

#include <exception>
#include <iostream>
#include <string>
#include <string_view>

int main(int argc, char** argv)
{
    constexpr std::string_view Switch = "--clock-speed=";
    constexpr int WrongUse = 2;
    try
    {
        for (int i = 1; i < argc; ++i)
        {
            const std::string_view argument(argv[i]);
            if (argument.starts_with(Switch))
            {
                Shared::Time::ClockControl::SetSpeed(std::stod(std::string(argument.substr(Switch.size()))));
            }
        }
    }
    catch (const std::exception& problem)
    {
        std::cerr << "the laboratory's agent: --clock-speed: " << problem.what() << '\n';
        return WrongUse;
    }
    return Agent::Process::RunProcess(argc, argv);
}
