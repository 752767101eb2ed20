#include "lab.tools-console.hpp"

#include <iostream>
#include <stdexcept>

namespace Lab::Tools
{

void WriteOutput(std::string_view text)
{
    std::cout << text << std::flush;
    if (!std::cout)
    {
        throw std::runtime_error("nobody takes the output");
    }
}

} // namespace Lab::Tools
