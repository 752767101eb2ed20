#pragma once

#include "shared.winreg-functions.hpp"

#include <cstdint>
#include <string>
#include <vector>

/// What an installer does to the registry: for set-up programs, the laboratory and tests. The agent itself uses none of
/// it, so that it never makes up a store or a key that its installer did not lay out.
///
/// Paths, atomicity and threads are those of shared.winreg-functions.hpp. Failures are Win32Exception in the form of
/// ThrowRegError(), with an empty value name.
namespace Shared::WinReg
{

/// A value as it is listed.
struct RegistryValue
{
    std::wstring name;
    std::uint32_t type = 0;
    /// The text of a value of TypeString; empty for every other type.
    std::wstring text;
    /// The number of a value of TypeDword; 0 for every other type.
    std::uint32_t number = 0;
};

/// Creates a key and those above it that are missing; an existing one is left as it is. On Linux the store is created
/// too when there is no file (mode 0600, its folder 0700), at once complete: no process ever sees half of one. A file
/// that is there but no store is never touched. Throws with "Failed to create registry key".
void CreateKey(Root root, const std::wstring& path);

/// Deletes a key with its values and everything below. False when there is no such key. Throws with "Failed to delete
/// registry key"; the root itself (an empty path) is refused.
bool DeleteKeyTree(Root root, const std::wstring& path);

/// Values of a key, sorted by name without regard to case. Values of other types than the two are listed without their
/// data, and so are those that cannot be read. Throws with "Failed to enumerate registry values".
std::vector<RegistryValue> EnumerateValues(Root root, const std::wstring& path);

/// Names of the keys directly below a key, sorted without regard to case. Throws with "Failed to enumerate registry
/// keys".
std::vector<std::wstring> EnumerateKeys(Root root, const std::wstring& path);

} // namespace Shared::WinReg
