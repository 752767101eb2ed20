#include "test.comms-frames.hpp"

#include <memory>
#include <random>

#include <lz4frame.h>

namespace TestComms
{

std::string Decompress(std::string_view frame)
{
    LZ4F_dctx* made = nullptr;
    if (LZ4F_isError(LZ4F_createDecompressionContext(&made, LZ4F_VERSION)) != 0)
    {
        return "(no context)";
    }
    const std::unique_ptr<LZ4F_dctx, decltype(&LZ4F_freeDecompressionContext)> context(
        made, &LZ4F_freeDecompressionContext);
    constexpr std::size_t PieceSize = 65'536;
    std::string text;
    std::string piece(PieceSize, '\0');
    std::size_t wanted = 1;
    while (wanted != 0 && !frame.empty())
    {
        std::size_t consumed = frame.size();
        std::size_t produced = piece.size();
        wanted = LZ4F_decompress(context.get(), piece.data(), &produced, frame.data(), &consumed, nullptr);
        if (LZ4F_isError(wanted) != 0)
        {
            return std::string("(") + LZ4F_getErrorName(wanted) + ")";
        }
        text.append(piece, 0, produced);
        frame.remove_prefix(consumed);
    }
    if (wanted != 0)
    {
        return "(the frame is cut)";
    }
    return frame.empty() ? text : "(something follows the frame)";
}

std::string TextOf(std::size_t size)
{
    std::string text;
    for (int i = 0; text.size() < size; ++i)
    {
        text += "{\"number\": " + std::to_string(i * 7919 % 10'007) + ", \"name\": \"target\"},\n";
    }
    text.resize(size);
    return text;
}

std::string NoiseOf(std::size_t size)
{
    // A seed of its own makes the noise the same for everybody.
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp)
    std::mt19937 random(20'260'101);
    std::string noise(size, '\0');
    for (char& byte : noise)
    {
        byte = static_cast<char>(random() & 0xFFU);
    }
    return noise;
}

} // namespace TestComms
