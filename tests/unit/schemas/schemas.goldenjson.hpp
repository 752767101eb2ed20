#pragma once

#include <span>

namespace Schemas
{

/// A message and its JSON, compact, every field set but those whose type knows no value besides the default. Text number 7
/// is "s7", number 7 of a signed type -7, of float 7.5, of double 7.25, an enum has its last value; a field that holds a
/// message shows no more than the first field of that.
struct GoldenJson
{
    const char* message;
    const char* json;
};

/// One row for each message; one for each member of a oneof.
std::span<const GoldenJson> AllGoldenJson();

} // namespace Schemas
