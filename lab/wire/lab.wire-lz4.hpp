#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Lab::Wire
{

/// The most that one compressed payload may become.
inline constexpr std::size_t LargestPayload = 256U << 20U;

/// Bytes are no LZ4 frame, or not exactly one; what() says why.
class CompressionError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The content of one LZ4 frame. Grows with what comes out, never by what a header promises. Throws CompressionError when
/// it is malformed, cut off, followed by more, or larger than `largest`.
std::string DecompressFrame(std::string_view frame, std::size_t largest = LargestPayload);

} // namespace Lab::Wire
