#include "shared.raii-win32handle.hpp"

#include "shared.exception-errortext.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.platform-standarderror.hpp"
#include "shared.util-functions.hpp"

#include <cstdint>
#include <utility>

namespace Shared::Raii
{

namespace
{

bool MeansNone(RawHandle raw) noexcept
{
    return raw == nullptr || reinterpret_cast<std::intptr_t>(raw) == -1;
}

void ReportFailedClose(std::uint32_t code) noexcept
{
    try
    {
        Platform::PrintToStandardError(
            L"Failed to close handle due to a Win32 error: " +
            Util::ConvertStringType(Exception::TranslateWin32Error(code)) + L"\n");
    }
    catch (...)
    {
        Platform::PrintToStandardError(L"Failed to close handle due to a Win32 error\n");
    }
}

RawHandle DuplicateOrThrow(RawHandle raw)
{
    if (raw == nullptr)
    {
        return nullptr;
    }
    const RawHandle duplicate = Native::DuplicateHandle(raw);
    if (duplicate == nullptr)
    {
        throw Exception::Win32Exception("DuplicateHandle() failed", Platform::LastError());
    }
    return duplicate;
}

} // namespace

Win32Handle::Win32Handle(RawHandle raw) noexcept : m_handle(MeansNone(raw) ? nullptr : raw)
{
}

Win32Handle::Win32Handle(const Win32Handle& other) : m_handle(DuplicateOrThrow(other.m_handle))
{
}

Win32Handle::Win32Handle(Win32Handle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr))
{
}

Win32Handle::~Win32Handle()
{
    Win32Handle::Close();
}

void Win32Handle::Attach(RawHandle raw) noexcept
{
    if (raw == m_handle)
    {
        return;
    }
    Close();
    m_handle = MeansNone(raw) ? nullptr : raw;
}

Win32Handle& Win32Handle::operator=(const Win32Handle& other)
{
    if (this != &other)
    {
        Attach(DuplicateOrThrow(other.m_handle));
    }
    return *this;
}

Win32Handle& Win32Handle::operator=(Win32Handle&& other) noexcept
{
    if (this != &other)
    {
        Attach(std::exchange(other.m_handle, nullptr));
    }
    return *this;
}

bool Win32Handle::operator==(const Win32Handle& other) const noexcept
{
    if (m_handle == other.m_handle)
    {
        return true;
    }
    return m_handle != nullptr && other.m_handle != nullptr && Native::IsSameObject(m_handle, other.m_handle);
}

bool Win32Handle::IsInvalid(RawHandle raw) const noexcept
{
    return MeansNone(raw);
}

RawHandle Win32Handle::GetRawHandle() const noexcept
{
    return m_handle;
}

Win32Handle Win32Handle::Duplicate() const
{
    return Win32Handle(*this);
}

bool Win32Handle::IsInheritable() const
{
    if (m_handle == nullptr)
    {
        return false;
    }
    bool inheritable = false;
    if (!Native::QueryInheritability(m_handle, inheritable))
    {
        throw Exception::Win32Exception("GetHandleInformation() failed", Platform::LastError());
    }
    return inheritable;
}

void Win32Handle::Close() noexcept
{
    if (m_handle == nullptr)
    {
        return;
    }
    if (!Native::CloseHandle(std::exchange(m_handle, nullptr)))
    {
        ReportFailedClose(Platform::LastError());
    }
}

void Win32Handle::SetInheritability(bool inheritable)
{
    if (m_handle == nullptr)
    {
        throw Exception::RuntimeException("Handle is null or invalid.");
    }
    if (!Native::ChangeInheritability(m_handle, inheritable))
    {
        throw Exception::Win32Exception("SetHandleInformation() failed", Platform::LastError());
    }
}

RawHandle Win32Handle::Release() noexcept
{
    return std::exchange(m_handle, nullptr);
}

bool Win32Handle::IsValid() const noexcept
{
    return m_handle != nullptr;
}

} // namespace Shared::Raii
