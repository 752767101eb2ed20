#pragma once

#include "shared.raii-nativehandle.hpp"

namespace Shared::Raii
{

/// Sole owner of one system handle. Null and the invalid value (all bits set) both mean that there is none.
/// Closing never throws: a close that the system refuses is reported on the standard error stream and the handle is
/// forgotten. Not synchronised: one thread at a time, but the raw handle may be waited on by several.
class Win32Handle
{
public:
    Win32Handle() noexcept = default;
    /// Takes ownership of `raw`.
    explicit Win32Handle(RawHandle raw) noexcept;
    /// Duplicates the system handle. Throws Win32Exception "DuplicateHandle() failed".
    Win32Handle(const Win32Handle& other);
    Win32Handle(Win32Handle&& other) noexcept;
    virtual ~Win32Handle();

    /// Closes what is held and takes ownership of `raw`. Attaching the handle that is already held changes nothing.
    virtual void Attach(RawHandle raw) noexcept;
    virtual Win32Handle& operator=(const Win32Handle& other);
    virtual Win32Handle& operator=(Win32Handle&& other) noexcept;
    /// Whether both mean the same kernel object; two empty ones are equal too.
    virtual bool operator==(const Win32Handle& other) const noexcept;
    /// Whether `raw` means "no handle": null or all bits set.
    virtual bool IsInvalid(RawHandle raw) const noexcept;
    /// The handle, still owned here; null when there is none.
    virtual RawHandle GetRawHandle() const noexcept;
    /// A second handle to the same object, with the same inheritability; empty when this one is. Throws Win32Exception
    /// "DuplicateHandle() failed".
    virtual Win32Handle Duplicate() const;
    /// Whether children inherit the handle; false without one. Throws Win32Exception "GetHandleInformation() failed".
    virtual bool IsInheritable() const;
    /// Closes what is held. Safe to repeat.
    virtual void Close() noexcept;
    /// Throws the runtime exception "Handle is null or invalid." without a handle, Win32Exception
    /// "SetHandleInformation() failed" when the system refuses.
    virtual void SetInheritability(bool inheritable);
    /// Gives the handle up without closing it; null when there is none.
    virtual RawHandle Release() noexcept;
    virtual bool IsValid() const noexcept;

private:
    RawHandle m_handle = nullptr;
};

} // namespace Shared::Raii
