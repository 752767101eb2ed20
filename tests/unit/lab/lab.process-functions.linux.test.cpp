#include "lab.process-functions.hpp"

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace
{

/// Starts processes that end at once, until it is over.
void StartOthers(const std::atomic<bool>& isOver)
{
    constexpr int AtOnce = 10;
    while (!isOver)
    {
        std::vector<pid_t> children;
        for (int i = 0; i < AtOnce; ++i)
        {
            children.push_back(::fork());
            if (children.back() == 0)
            {
                ::_exit(0);
            }
        }
        for (const pid_t child : children)
        {
            ::waitpid(child, nullptr, 0);
        }
    }
}

/// A process that ends between the opening and the reading of its entry reads as an error.
TEST(ProcessFunctionsTest, ProcessesThatEndWhileTheyAreListedAreLeftOut)
{
    std::atomic<bool> isOver = false;
    std::vector<std::thread> others;
    for (int i = 0; i < 2; ++i)
    {
        others.emplace_back([&isOver] { StartOthers(isOver); });
    }
    for (int i = 0; i < 60; ++i)
    {
        EXPECT_NO_THROW(EXPECT_FALSE(Lab::Process::List().empty()));
    }
    isOver = true;
    for (std::thread& other : others)
    {
        other.join();
    }
}

} // namespace
