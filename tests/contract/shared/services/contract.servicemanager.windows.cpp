#include "contract.servicemanager.hpp"

#include <stdexcept>

#include "shared.util-functions.hpp"

#include "shared.platform-windows.windows.hpp"

#include <winsvc.h>

namespace Contract
{

struct ServiceManager::State
{
    SC_HANDLE manager = nullptr;
    SC_HANDLE broken = nullptr;
    std::wstring brokenName;
};

const bool ServiceManager::CanDelete = true;

std::optional<std::string> ServiceManager::WhyUnavailable()
{
    const SC_HANDLE manager = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE);
    if (manager == nullptr)
    {
        return "this user may not create services";
    }
    ::CloseServiceHandle(manager);
    return std::nullopt;
}

ServiceManager::ServiceManager() : m_state(std::make_unique<State>())
{
    m_state->manager = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    m_state->brokenName = L"tvncontract" + Shared::Util::GenerateGuid();
    m_state->broken = ::CreateServiceW(
        m_state->manager, m_state->brokenName.c_str(), nullptr, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
        SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE, L"C:\\no\\such\\program.exe", nullptr, nullptr, nullptr, nullptr,
        nullptr);
    if (m_state->broken == nullptr)
    {
        throw std::runtime_error("CreateServiceW() failed");
    }
}

ServiceManager::~ServiceManager()
{
    ::DeleteService(m_state->broken);
    ::CloseServiceHandle(m_state->broken);
    ::CloseServiceHandle(m_state->manager);
}

std::wstring ServiceManager::RunningService() const
{
    // Runs on every system that anybody can use.
    return L"RpcSs";
}

std::wstring ServiceManager::StoppedService() const
{
    return m_state->brokenName;
}

std::wstring ServiceManager::BrokenService() const
{
    return m_state->brokenName;
}

} // namespace Contract
