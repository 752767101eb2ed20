#pragma once

#include "shared.concurrency-event.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "shared.winreg-regkey.hpp"

#include <cstdint>
#include <string>
#include <vector>

/// What the two platforms do differently below the registry operations. Each gives a code, Success or the platform's,
/// and leaves it to the operation above whether that is an exception.
namespace Shared::WinReg::Native
{

/// Result of what has to open a key first.
struct WriteResult
{
    std::uint32_t code = 0;
    /// Whether `code` is of the opening: there was no key to write to.
    bool isOfKey = false;
};

/// Reads a text into `out`, which stays untouched on failure.
std::uint32_t ReadString(Root root, const std::wstring& path, const std::wstring& name, std::wstring& out);

/// Reads a number into `out`, which stays untouched on failure.
std::uint32_t ReadDword(Root root, const std::wstring& path, const std::wstring& name, std::uint32_t& out);

WriteResult WriteString(Root root, const std::wstring& path, const std::wstring& name, const std::wstring& value);

WriteResult WriteDword(Root root, const std::wstring& path, const std::wstring& name, std::uint32_t value);

/// Deletes a value; a missing key or value is a success.
std::uint32_t DeleteValue(Root root, const std::wstring& path, const std::wstring& name);

/// Opens a key into `out`, which stays untouched on failure.
std::uint32_t OpenKey(Root root, const std::wstring& path, RegKey& out);

/// Creates a key, those above it and, on Linux, the store.
std::uint32_t CreateKey(Root root, const std::wstring& path);

/// Deletes a key that is not the root, with everything below; `existed` tells whether there was one.
std::uint32_t DeleteKeyTree(Root root, const std::wstring& path, bool& existed);

/// Names and types of a key's values, in any order.
std::uint32_t ListValues(Root root, const std::wstring& path, std::vector<RegistryValue>& out);

/// Names of the keys directly below a key, in any order.
std::uint32_t ListKeys(Root root, const std::wstring& path, std::vector<std::wstring>& out);

/// Arms a watch. Neither argument is null.
std::uint32_t WatchKey(const RegKey& key, const Concurrency::Event& eventToSignal);

/// The number of the root as messages have it.
constexpr std::uint32_t RootNumber(Root root) noexcept
{
    return 0x80000002U + static_cast<std::uint32_t>(root);
}

} // namespace Shared::WinReg::Native
