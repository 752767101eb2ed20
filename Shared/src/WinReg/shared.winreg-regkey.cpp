#include "shared.winreg-regkey.hpp"

#include <utility>

namespace Shared::WinReg
{

RegKey::RegKey(std::shared_ptr<void> key) noexcept : m_key(std::move(key))
{
}

bool RegKey::IsNull() const noexcept
{
    return m_key == nullptr;
}

RegKey::operator bool() const noexcept
{
    return !IsNull();
}

void* RegKey::GetRawKey() const noexcept
{
    return m_key.get();
}

const std::shared_ptr<void>& RegKey::GetShared() const noexcept
{
    return m_key;
}

void RegKey::Close() noexcept
{
    m_key.reset();
}

} // namespace Shared::WinReg
