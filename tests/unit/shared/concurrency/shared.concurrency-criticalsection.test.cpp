#include "shared.concurrency-criticalsection.hpp"

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using Shared::Concurrency::CriticalSection;
using Shared::Concurrency::CriticalSectionWrapper;

TEST(CriticalSectionTest, TheThreadThatHoldsItMayEnterAgain)
{
    CriticalSectionWrapper wrapper;
    const CriticalSection outer(wrapper.Get());
    const CriticalSection inner(wrapper.Get());
    const CriticalSection innermost(wrapper.Get());
    SUCCEED(); // it would have hung
}

TEST(CriticalSectionTest, ItIsFreeForOthersOnlyWhenItWasLeftAsOftenAsEntered)
{
    CriticalSectionWrapper wrapper;
    std::atomic<bool> entered = false;
    std::thread other;
    {
        const CriticalSection outer(wrapper.Get());
        {
            const CriticalSection inner(wrapper.Get());
            other = std::thread(
                [&]
                {
                    const CriticalSection hold(wrapper.Get());
                    entered = true;
                });
        }
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
    std::thread([&] { const CriticalSection hold(wrapper.Get()); }).join();
    SUCCEED(); // it would have hung
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
                    const CriticalSection hold(wrapper.Get());
                    const CriticalSection again(wrapper.Get());
                    ++count;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(count, 20'000);
}
