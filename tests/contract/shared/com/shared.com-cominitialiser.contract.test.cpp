#include "shared.com-cominitialiser.hpp"

#include <exception>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Shared::COM::ComInitialiser;

TEST(ComInitialiserContract, IsNotInitialisedUntilAsked)
{
    const ComInitialiser com;
    EXPECT_FALSE(com.IsInitialised());
}

TEST(ComInitialiserContract, InitialisesOnce)
{
    ComInitialiser com;
    com.Initialise();
    com.Initialise();
    EXPECT_TRUE(com.IsInitialised());
}

TEST(ComInitialiserContract, SeveralMayLiveOnOneThread)
{
    ComInitialiser first;
    first.Initialise();
    ComInitialiser second;
    second.Initialise();
    EXPECT_TRUE(first.IsInitialised());
    EXPECT_TRUE(second.IsInitialised());
}

TEST(ComInitialiserContract, EachThreadHasItsOwn)
{
    constexpr int count = 8;
    std::vector<std::exception_ptr> failures(count);
    std::vector<std::thread> threads;
    for (auto& failure : failures)
    {
        threads.emplace_back(
            [&failure]
            {
                try
                {
                    ComInitialiser com;
                    com.Initialise();
                }
                catch (...)
                {
                    failure = std::current_exception();
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    for (const auto& failure : failures)
    {
        EXPECT_EQ(failure, nullptr);
    }
}

} // namespace
