#include "agentprocess.entrypoints.hpp"

int main(int argc, char** argv)
{
    return Agent::Process::RunProcess(argc, argv);
}
