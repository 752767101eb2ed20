#pragma once

#include <string>
#include <string_view>

namespace TestComms
{

/// What a frame holds, by the library's own decoder; its error's name in brackets for what is no whole frame.
std::string Decompress(std::string_view frame);

/// A text of `size` bytes that compresses as JSON does.
std::string TextOf(std::size_t size);

/// A text of `size` bytes that does not compress at all, the same at each call.
std::string NoiseOf(std::size_t size);

} // namespace TestComms
