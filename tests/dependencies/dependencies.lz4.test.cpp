#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <lz4frame.h>

namespace
{
std::string Compress(const std::string& text)
{
    std::string frame(LZ4F_compressFrameBound(text.size(), nullptr), '\0');
    const auto size = LZ4F_compressFrame(frame.data(), frame.size(), text.data(), text.size(), nullptr);
    EXPECT_FALSE(LZ4F_isError(size)) << LZ4F_getErrorName(size);
    frame.resize(size);
    return frame;
}

// The text of the frame, taken out in small pieces; an error's name when it is none.
std::string Decompress(const std::string& frame)
{
    LZ4F_dctx* made = nullptr;
    EXPECT_FALSE(LZ4F_isError(LZ4F_createDecompressionContext(&made, LZ4F_VERSION)));
    const std::unique_ptr<LZ4F_dctx, decltype(&LZ4F_freeDecompressionContext)> context{
        made, &LZ4F_freeDecompressionContext};

    std::string text;
    std::array<char, 1000> piece{};
    std::size_t read = 0;
    std::size_t more = 1;
    while (more != 0 && read < frame.size())
    {
        std::size_t consumed = frame.size() - read;
        std::size_t produced = piece.size();
        more = LZ4F_decompress(context.get(), piece.data(), &produced, frame.data() + read, &consumed, nullptr);
        if (LZ4F_isError(more))
        {
            return LZ4F_getErrorName(more);
        }
        text.append(piece.data(), produced);
        read += consumed;
    }
    return text;
}
} // namespace

TEST(Lz4Test, AFrameGivesItsTextBack)
{
    std::string text;
    for (int i = 0; i < 20000; ++i)
    {
        text += std::to_string(i % 977);
    }
    const auto frame = Compress(text);
    EXPECT_LT(frame.size(), text.size() / 2);
    EXPECT_EQ(Decompress(frame), text);
}

TEST(Lz4Test, AnEmptyTextHasAFrameToo)
{
    EXPECT_EQ(Decompress(Compress("")), "");
}

TEST(Lz4Test, WhatIsNoFrameIsRefused)
{
    EXPECT_EQ(Decompress("no frame at all"), "ERROR_frameType_unknown");
}
