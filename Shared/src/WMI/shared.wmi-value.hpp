#pragma once

#include "shared.exception-exceptions.hpp"

#include <optional>
#include <source_location>
#include <utility>

namespace Shared::WMI
{

/// The value, or the runtime exception "WmiValue is null".
template <typename T>
T GetValueOrThrow(std::optional<T> value, const std::source_location& where = std::source_location::current())
{
    if (!value)
    {
        throw Exception::RuntimeException("WmiValue is null", where);
    }
    return *std::move(value);
}

} // namespace Shared::WMI
