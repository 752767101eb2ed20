#include "shared.services-native.hpp"

#include <string_view>
#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.platform-standarderror.hpp"

#include "shared.platform-windows.windows.hpp"

#include <winsvc.h>

namespace Shared::Services::Native
{

namespace
{

/// Owner of a handle of the service control manager, which CloseHandle does not know.
class ScHandle
{
public:
    explicit ScHandle(SC_HANDLE handle) noexcept : m_handle(handle)
    {
    }

    ScHandle(ScHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr))
    {
    }

    ScHandle(const ScHandle&) = delete;
    ScHandle& operator=(const ScHandle&) = delete;
    ScHandle& operator=(ScHandle&&) = delete;

    ~ScHandle()
    {
        if (m_handle != nullptr && ::CloseServiceHandle(m_handle) == FALSE)
        {
            Platform::PrintToStandardError(std::wstring_view{L"CloseServiceHandle() failed\n"});
        }
    }

    SC_HANDLE Get() const noexcept
    {
        return m_handle;
    }

private:
    SC_HANDLE m_handle;
};

class ScmService final : public Service
{
public:
    explicit ScmService(ScHandle handle) noexcept : m_handle(std::move(handle))
    {
    }

    void Start() override
    {
        if (::StartServiceW(m_handle.Get(), 0, nullptr) == FALSE)
        {
            throw Exception::Win32Exception("StartServiceW() failed", Platform::LastError());
        }
    }

    void Delete() override
    {
        if (::DeleteService(m_handle.Get()) == FALSE)
        {
            throw Exception::Win32Exception("DeleteService() failed", Platform::LastError());
        }
    }

    ServiceState QueryState() const override
    {
        SERVICE_STATUS_PROCESS status{};
        DWORD needed = 0;
        if (::QueryServiceStatusEx(
                m_handle.Get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof(status), &needed) ==
            FALSE)
        {
            throw Exception::Win32Exception("QueryServiceStatusEx() failed", Platform::LastError());
        }
        return static_cast<ServiceState>(status.dwCurrentState);
    }

private:
    ScHandle m_handle;
};

} // namespace

class Manager
{
public:
    explicit Manager(ScHandle handle) noexcept : m_handle(std::move(handle))
    {
    }

    SC_HANDLE Get() const noexcept
    {
        return m_handle.Get();
    }

private:
    ScHandle m_handle;
};

std::shared_ptr<Manager> OpenManager(std::uint32_t access)
{
    ScHandle handle{::OpenSCManagerW(nullptr, nullptr, access)};
    if (handle.Get() == nullptr)
    {
        throw Exception::Win32Exception("OpenSCManagerW() failed", Platform::LastError());
    }
    return std::make_shared<Manager>(std::move(handle));
}

std::unique_ptr<Service> FindService(
    const std::shared_ptr<Manager>& manager, const std::wstring& name, std::uint32_t access)
{
    ScHandle handle{::OpenServiceW(manager->Get(), name.c_str(), access)};
    if (handle.Get() == nullptr)
    {
        throw Exception::Win32Exception("OpenServiceW() failed", Platform::LastError());
    }
    return std::make_unique<ScmService>(std::move(handle));
}

} // namespace Shared::Services::Native
