#include "contract.toolrunner.hpp"

#include <csignal>
#include <fstream>
#include <string>

namespace Contract
{

bool IsRunning(std::uint32_t processId)
{
    std::ifstream file("/proc/" + std::to_string(processId) + "/stat");
    std::string stat;
    std::getline(file, stat);
    // Behind the name in parentheses, a blank and the state. One that has ended is there until its parent takes notice.
    const std::size_t name = stat.rfind(')');
    return name != std::string::npos && name + 2 < stat.size() && stat[name + 2] != 'Z' && stat[name + 2] != 'X';
}

void KillProcess(std::uint32_t processId)
{
    ::kill(static_cast<pid_t>(processId), SIGKILL);
}

std::wstring ProgramFile(const std::wstring& name)
{
    return name;
}

} // namespace Contract
