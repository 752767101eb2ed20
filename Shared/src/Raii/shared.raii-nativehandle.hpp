#pragma once

#include <cstdint>

namespace Shared::Raii
{

/// A system handle as the kernel's user sees it: a HANDLE on Windows; on Linux a descriptor together with the way in
/// which it is waited on, packed into the same word (descriptor 0 is a real one, so it is stored plus one). Null and
/// the value with all bits set both mean that there is no handle.
using RawHandle = void*;

/// The operations behind Win32Handle, one body for each platform. All may be called from any thread; none throws. What
/// fails leaves its code in Shared::Platform::LastError().
namespace Native
{

/// Closes a handle. False when the system refused.
bool CloseHandle(RawHandle handle) noexcept;

/// A second handle to the same kernel object, with the source's inheritability; null on failure.
RawHandle DuplicateHandle(RawHandle handle) noexcept;

/// Whether both mean the same kernel object, by whichever handle. False also when the system cannot tell.
bool IsSameObject(RawHandle first, RawHandle second) noexcept;

/// Reads into `inheritable` whether children that are started with inheritance get this handle. False on failure.
bool QueryInheritability(RawHandle handle, bool& inheritable) noexcept;

/// Sets the same. False on failure.
bool ChangeInheritability(RawHandle handle, bool inheritable) noexcept;

} // namespace Native

} // namespace Shared::Raii
