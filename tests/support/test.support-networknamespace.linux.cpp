#include "test.support-networknamespace.linux.hpp"

#include <cstdlib>
#include <exception>
#include <thread>

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>

namespace TestSupport
{

namespace
{

std::string LayOut(const std::vector<std::string>& commands)
{
    // With mounts of its own, the device files tell of the new network, and commands can lay files over the machine's.
    if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("sysfs", "/sys", "sysfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
    {
        return "this user may not make a network namespace";
    }
    for (const auto& command : commands)
    {
        if (std::system((command + " 2>/dev/null").c_str()) != 0)
        {
            return "refused here: " + command;
        }
    }
    return {};
}

} // namespace

std::string InNetworkNamespace(const std::vector<std::string>& commands, const std::function<void()>& inside)
{
    std::string obstacle;
    std::thread thread{[&]
                       {
                           obstacle = LayOut(commands);
                           if (!obstacle.empty())
                           {
                               return;
                           }
                           try
                           {
                               inside();
                           }
                           catch (const std::exception& exception)
                           {
                               ADD_FAILURE() << exception.what();
                           }
                       }};
    thread.join();
    return obstacle;
}

} // namespace TestSupport
