#include "lab.wire-lz4.hpp"

#include <memory>
#include <vector>

#include <fmt/format.h>
#include <lz4frame.h>

namespace Lab::Wire
{

namespace
{

struct ContextDeleter
{
    void operator()(LZ4F_dctx* context) const noexcept
    {
        (void)LZ4F_freeDecompressionContext(context);
    }
};

using Context = std::unique_ptr<LZ4F_dctx, ContextDeleter>;

std::size_t Require(std::size_t result)
{
    if (LZ4F_isError(result) != 0)
    {
        throw CompressionError(fmt::format("no LZ4 frame: {}", LZ4F_getErrorName(result)));
    }
    return result;
}

Context MakeContext()
{
    LZ4F_dctx* context = nullptr;
    Require(LZ4F_createDecompressionContext(&context, LZ4F_VERSION));
    return Context(context);
}

} // namespace

std::string DecompressFrame(std::string_view frame, std::size_t largest)
{
    constexpr std::size_t PieceSize = 256U << 10U;
    const Context context = MakeContext();
    std::vector<char> piece(PieceSize);
    std::string content;
    std::size_t expected = 1;
    while (expected != 0)
    {
        if (frame.empty())
        {
            throw CompressionError("the LZ4 frame is cut off");
        }
        std::size_t consumed = frame.size();
        std::size_t produced = piece.size();
        expected = Require(LZ4F_decompress(context.get(), piece.data(), &produced, frame.data(), &consumed, nullptr));
        if (produced > largest - content.size())
        {
            throw CompressionError(fmt::format("the LZ4 frame holds more than {} bytes", largest));
        }
        content.append(piece.data(), produced);
        frame.remove_prefix(consumed);
    }
    if (!frame.empty())
    {
        throw CompressionError(fmt::format("{} bytes stand behind the LZ4 frame", frame.size()));
    }
    return content;
}

} // namespace Lab::Wire
