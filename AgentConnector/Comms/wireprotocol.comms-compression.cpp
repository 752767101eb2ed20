#include "wireprotocol.comms-compression.hpp"

#include <array>
#include <memory>

#include <lz4frame.h>

namespace WireProtocol::Comms
{

namespace
{

/// Version of the frame library's interface that the code is written for.
constexpr unsigned FrameVersion = 100;
static_assert(FrameVersion == LZ4F_VERSION);

struct ContextDeleter
{
    void operator()(LZ4F_cctx* context) const noexcept
    {
        (void)LZ4F_freeCompressionContext(context);
    }
};

using Context = std::unique_ptr<LZ4F_cctx, ContextDeleter>;

/// Shared by all: the library's defaults, at its fastest level.
const LZ4F_preferences_t& GetPreferences()
{
    static const LZ4F_preferences_t preferences = []
    {
        LZ4F_preferences_t defaults = LZ4F_INIT_PREFERENCES;
        defaults.compressionLevel = 0;
        return defaults;
    }();
    return preferences;
}

Context MakeContext()
{
    LZ4F_cctx* context = nullptr;
    if (LZ4F_isError(LZ4F_createCompressionContext(&context, FrameVersion)) != 0)
    {
        return nullptr;
    }
    return Context(context);
}

/// Calls one step of the compression at the end of what is there; false when it fails.
template <typename Step>
bool Append(std::string& frame, std::size_t& length, Step step)
{
    const std::size_t written = step(frame.data() + length, frame.size() - length);
    if (LZ4F_isError(written) != 0)
    {
        return false;
    }
    length += written;
    return true;
}

} // namespace

std::string CompressFrame(std::string_view text)
{
    const Context context = text.empty() ? nullptr : MakeContext();
    if (!context)
    {
        return {};
    }
    // The library's bound is that of the content alone: the header comes on top, and a text of whole blocks would not fit.
    std::string frame(LZ4F_HEADER_SIZE_MAX + LZ4F_compressBound(text.size(), &GetPreferences()), '\0');
    std::size_t length = 0;
    const bool isWhole = Append(
                             frame, length,
                             [&](char* to, std::size_t room)
                             { return LZ4F_compressBegin(context.get(), to, room, &GetPreferences()); }) &&
        Append(frame, length,
               [&](char* to, std::size_t room)
               { return LZ4F_compressUpdate(context.get(), to, room, text.data(), text.size(), nullptr); }) &&
        Append(frame, length,
               [&](char* to, std::size_t room) { return LZ4F_compressEnd(context.get(), to, room, nullptr); });
    frame.resize(isWhole ? length : 0);
    return frame;
}

} // namespace WireProtocol::Comms
