#include "tools.shared-entry.hpp"

int main(int argc, char** argv)
{
    return Tools::Run(std::vector<std::string>(argv + 1, argv + argc));
}
