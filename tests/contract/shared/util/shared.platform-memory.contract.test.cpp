#include "shared.platform-memory.hpp"

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

std::string Text(std::size_t number)
{
    return std::string(100 + number % 1'000, static_cast<char>('a' + number % 26));
}

TEST(ReturnFreeMemoryContract, WhatIsInUseStaysAsItIs)
{
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < 20'000; ++i)
    {
        texts.push_back(Text(i));
    }
    for (std::size_t i = 0; i < texts.size(); i += 2)
    {
        std::string().swap(texts[i]);
    }
    Shared::Platform::ReturnFreeMemory();
    for (std::size_t i = 1; i < texts.size(); i += 2)
    {
        ASSERT_EQ(texts[i], Text(i));
    }
    for (std::size_t i = 0; i < texts.size(); i += 2)
    {
        texts[i] = Text(i);
    }
    Shared::Platform::ReturnFreeMemory();
    for (std::size_t i = 0; i < texts.size(); ++i)
    {
        ASSERT_EQ(texts[i], Text(i));
    }
}

} // namespace
