#include "lab.wire-lz4.hpp"

#include <random>
#include <string>

#include <lz4frame.h>

#include <gtest/gtest.h>

namespace
{

using Lab::Wire::CompressionError;
using Lab::Wire::DecompressFrame;

std::string Compress(const std::string& content)
{
    std::string frame(LZ4F_compressFrameBound(content.size(), nullptr), '\0');
    frame.resize(LZ4F_compressFrame(frame.data(), frame.size(), content.data(), content.size(), nullptr));
    return frame;
}

std::string ProblemOf(const std::string& frame, std::size_t largest = Lab::Wire::LargestPayload)
{
    try
    {
        (void)DecompressFrame(frame, largest);
    }
    catch (const CompressionError& problem)
    {
        return problem.what();
    }
    return "(none)";
}

TEST(DecompressFrameTest, GivesBackContentOfEverySize)
{
    std::mt19937 engine(1);
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 300'000U, 3'000'000U})
    {
        std::string content(size, '\0');
        for (char& byte : content)
        {
            byte = static_cast<char>(engine() % 7);
        }
        EXPECT_EQ(DecompressFrame(Compress(content)), content) << size;
    }
}

TEST(DecompressFrameTest, WhatIsNoFrameIsRefused)
{
    EXPECT_EQ(ProblemOf(R"({"json":"that was never compressed"})"), "no LZ4 frame: ERROR_frameType_unknown");
}

TEST(DecompressFrameTest, EveryCutIsNoticed)
{
    const std::string frame = Compress("a payload of some length, as agents send it");
    for (std::size_t size = 0; size < frame.size(); ++size)
    {
        EXPECT_EQ(ProblemOf(frame.substr(0, size)), "the LZ4 frame is cut off") << size;
    }
}

TEST(DecompressFrameTest, WhatStandsBehindTheFrameIsNoticed)
{
    EXPECT_EQ(ProblemOf(Compress("payload") + "more"), "4 bytes stand behind the LZ4 frame");
}

TEST(DecompressFrameTest, ASmallFrameThatHoldsTooMuchEndsAtTheLimit)
{
    const std::string frame = Compress(std::string(10'000'000, 'z'));
    ASSERT_LT(frame.size(), 100'000U);
    EXPECT_EQ(ProblemOf(frame, 9'999'999), "the LZ4 frame holds more than 9999999 bytes");
    EXPECT_EQ(DecompressFrame(frame, 10'000'000).size(), 10'000'000U);
}

TEST(DecompressFrameTest, FlippedBytesEndInOneOrTheOther)
{
    const std::string content(5000, 'q');
    const std::string frame = Compress(content);
    for (std::size_t i = 0; i < frame.size(); ++i)
    {
        std::string flipped = frame;
        flipped[i] = static_cast<char>(flipped[i] ^ 0x10);
        try
        {
            EXPECT_LE(DecompressFrame(flipped, 1U << 20U).size(), 1U << 20U);
        }
        catch (const CompressionError&)
        {
        }
    }
}

} // namespace
