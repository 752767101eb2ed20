#pragma once

#include "shared.crypto-wiping.hpp"

#include <cstdint>
#include <memory>
#include <source_location>

#include "shared.platform-windows.windows.hpp"

#include <bcrypt.h>

/// Owners of what the system's cryptography (CNG) hands out, and its failures as exceptions.
namespace Shared::Crypto::Cng
{

struct AlgorithmCloser
{
    void operator()(void* handle) const noexcept;
};

struct HashCloser
{
    void operator()(void* handle) const noexcept;
};

struct KeyCloser
{
    void operator()(void* handle) const noexcept;
};

using Algorithm = std::unique_ptr<void, AlgorithmCloser>;
using Hash = std::unique_ptr<void, HashCloser>;
using Key = std::unique_ptr<void, KeyCloser>;

/// Throws NtStatusException with `text` unless `status` is one of success.
void ThrowUnlessDone(
    NTSTATUS status, const char* text, const std::source_location& where = std::source_location::current());

/// Throws NtStatusException "BCryptOpenAlgorithmProvider failed".
Algorithm OpenAlgorithm(const wchar_t* name);

/// Throws NtStatusException "BCryptGetProperty failed".
std::uint32_t GetNumber(const Algorithm& algorithm, const wchar_t* property);

} // namespace Shared::Crypto::Cng
