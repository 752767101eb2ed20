#pragma once

#include <cstddef>
#include <string_view>

namespace Shared::Util
{

/// Hashes for sets and maps whose keys come from outside. They are seeded anew in each process, so that nobody can prepare
/// texts that all fall together. Any thread.
struct TextHash
{
    using is_transparent = void;

    std::size_t operator()(std::string_view text) const noexcept;
};

/// The same for texts in which upper and lower case letters of ASCII are the same; goes with CaseBlindEqual.
struct CaseBlindHash
{
    using is_transparent = void;

    std::size_t operator()(std::string_view text) const noexcept;
};

struct CaseBlindEqual
{
    using is_transparent = void;

    bool operator()(std::string_view first, std::string_view second) const noexcept;
};

} // namespace Shared::Util
