#pragma once

#include <cstdint>
#include <source_location>
#include <string>
#include <string_view>

namespace Shared::Exception
{

/// Where something was raised or logged: a plain record, made from the language's own source location.
struct SourceLocation
{
    /// Takes over `where`; `function` is reduced to the unqualified name.
    explicit SourceLocation(const std::source_location& where);

    std::uint32_t line;
    std::uint32_t column;
    /// Path of the module, as the compiler was told it.
    std::string file;
    /// Unqualified name of the function, without namespaces, classes, template arguments and parameters.
    std::string function;
};

/// The unqualified name inside a compiler's full signature: "Run" for "virtual int A::B<C>::Run(int)", "operator()" for
/// a call operator. A lambda gives the name of the function around it, because that is the name a reader can look up.
/// A text without a recognisable name comes back as it is.
std::string_view UnqualifiedFunctionName(std::string_view signature) noexcept;

} // namespace Shared::Exception
