#pragma once

#include <google/protobuf/stubs/logging.h>
#include <spdlog/spdlog.h>

namespace Fuzz
{

/// From its construction to the end of the program there is no line of the log, and none of the protobuf library: bad
/// inputs are most of what a fuzz target sees, and each would be told.
struct Silence
{
    Silence()
    {
        spdlog::set_level(spdlog::level::off);
        google::protobuf::SetLogHandler(nullptr);
    }
};

} // namespace Fuzz
