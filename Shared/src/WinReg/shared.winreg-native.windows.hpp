#pragma once

#include "shared.winreg-functions.hpp"

#include <memory>
#include <type_traits>

#include "shared.platform-windows.windows.hpp"

namespace Shared::WinReg::Native
{

struct KeyCloser
{
    void operator()(HKEY key) const noexcept
    {
        ::RegCloseKey(key);
    }
};

using OwnedKey = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

/// Access rights to change values: what KEY_WRITE has.
inline constexpr REGSAM WriteAccess = 0x20006;

inline HKEY RootKey(Root) noexcept
{
    return HKEY_LOCAL_MACHINE;
}

/// The system's own word for a key or value that is not there.
bool IsAbsence(LSTATUS status) noexcept;

LSTATUS Open(Root root, const std::wstring& path, REGSAM access, OwnedKey& out) noexcept;

} // namespace Shared::WinReg::Native
