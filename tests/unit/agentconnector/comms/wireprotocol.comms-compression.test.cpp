#include "wireprotocol.comms-compression.hpp"

#include "test.comms-frames.hpp"

#include <array>
#include <cstdint>
#include <string>

#include <gmock/gmock.h>

namespace
{

using TestComms::Decompress;
using TestComms::NoiseOf;
using TestComms::TextOf;
using WireProtocol::Comms::CompressFrame;

// Round the sizes at which the library writes a block by itself, where a frame made without room for its header, or cut
// where the last block begins, would lose what it holds.
constexpr std::array<std::size_t, 13> Sizes = {1,      2,       100,     65'529,  65'530,  65'535,   65'536,
                                               65'537, 131'071, 131'072, 131'073, 200'000, 3'000'000};

TEST(CompressFrameTest, ATextComesBackWholeAtEverySize)
{
    for (const std::size_t size : Sizes)
    {
        const std::string text = TextOf(size);
        EXPECT_TRUE(Decompress(CompressFrame(text)) == text) << size;
    }
}

TEST(CompressFrameTest, BytesThatCannotBeCompressedComeBackWholeAtEverySize)
{
    for (const std::size_t size : Sizes)
    {
        const std::string noise = NoiseOf(size);
        EXPECT_TRUE(Decompress(CompressFrame(noise)) == noise) << size;
    }
}

TEST(CompressFrameTest, AnEmptyTextHasNoFrame)
{
    EXPECT_EQ(CompressFrame({}), "");
}

TEST(CompressFrameTest, TheFrameIsOfTheLibrarysDefaultForm)
{
    const std::string frame = CompressFrame("hello");
    // The frame's magic number, the flags of version 1 with linked blocks, and blocks of 64 KiB.
    ASSERT_GE(frame.size(), 6U);
    EXPECT_EQ(frame.substr(0, 6), std::string("\x04\x22\x4D\x18\x40\x40", 6));
    EXPECT_EQ(frame.substr(frame.size() - 4), std::string(4, '\0'));
}

TEST(CompressFrameTest, ATextThatRepeatsItselfGetsSmaller)
{
    EXPECT_LT(CompressFrame(TextOf(200'000)).size(), 100'000U);
}

} // namespace
