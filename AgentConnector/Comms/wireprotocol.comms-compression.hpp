#pragma once

#include <string>
#include <string_view>

namespace WireProtocol::Comms
{

/// One LZ4 frame in the library's default form that holds the whole text; the empty string when the library fails, and for
/// an empty text. Any thread.
std::string CompressFrame(std::string_view text);

} // namespace WireProtocol::Comms
