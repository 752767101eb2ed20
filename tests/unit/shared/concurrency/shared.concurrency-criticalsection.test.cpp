#include "shared.concurrency-criticalsection.hpp"

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using Shared::Concurrency::CriticalSection;
using Shared::Concurrency::CriticalSectionWrapper;

namespace
{

/// Entering in a function of its own: the compiler's analysis of locks knows no re-entrance within one.
template <typename Inside>
void Enter(CriticalSectionWrapper& wrapper, Inside inside)
{
    const CriticalSection hold(wrapper.Get());
    inside();
}

} // namespace

TEST(CriticalSectionTest, TheThreadThatHoldsItMayEnterAgain)
{
    CriticalSectionWrapper wrapper;
    int depth = 0; // it would hang
    Enter(wrapper, [&] { Enter(wrapper, [&] { Enter(wrapper, [&] { depth = 3; }); }); });
    EXPECT_EQ(depth, 3);
}

TEST(CriticalSectionTest, ItIsFreeForOthersOnlyWhenItWasLeftAsOftenAsEntered)
{
    CriticalSectionWrapper wrapper;
    std::atomic<bool> entered = false;
    std::thread other;
    {
        const CriticalSection outer(wrapper.Get());
        Enter(wrapper, [&] { other = std::thread([&] { Enter(wrapper, [&] { entered = true; }); }); });
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_FALSE(entered);
    }
    other.join();
    EXPECT_TRUE(entered);
}

TEST(CriticalSectionTest, AnExceptionLeavesIt)
{
    CriticalSectionWrapper wrapper;
    try
    {
        const CriticalSection hold(wrapper.Get());
        throw std::runtime_error("on the way");
    }
    catch (const std::runtime_error&)
    {
    }
    bool entered = false; // it would hang
    std::thread([&] { Enter(wrapper, [&] { entered = true; }); }).join();
    EXPECT_TRUE(entered);
}

TEST(CriticalSectionTest, TheWrapperAlwaysGivesTheSameSection)
{
    CriticalSectionWrapper wrapper;
    EXPECT_NE(wrapper.Get(), nullptr);
    EXPECT_EQ(wrapper.Get(), wrapper.Get());
    CriticalSectionWrapper other;
    EXPECT_NE(wrapper.Get(), other.Get());
}

TEST(CriticalSectionTest, OneThreadAtATimeIsInside)
{
    CriticalSectionWrapper wrapper;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            [&]
            {
                for (int turn = 0; turn < 5000; ++turn)
                {
                    Enter(wrapper, [&] { Enter(wrapper, [&] { ++count; }); });
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(count, 20'000);
}
