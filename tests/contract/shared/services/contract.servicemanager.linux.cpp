#include "contract.servicemanager.hpp"

#include "contract.fakesystemd.linux.hpp"

namespace Contract
{

struct ServiceManager::State
{
    FakeSystemd systemd{
        {{"tvnrunning.service", {"loaded", "active", true}},
         {"tvnstopped.service", {"loaded", "inactive", true}},
         {"tvnbroken.service", {"loaded", "failed", false}}}};
};

const bool ServiceManager::CanDelete = false;

std::optional<std::string> ServiceManager::WhyUnavailable()
{
    if (FakeSystemd::IsAvailable())
    {
        return std::nullopt;
    }
    return "the message bus is not installed (package dbus-daemon)";
}

ServiceManager::ServiceManager() : m_state(std::make_unique<State>())
{
}

ServiceManager::~ServiceManager() = default;

std::wstring ServiceManager::RunningService() const
{
    return L"tvnrunning";
}

std::wstring ServiceManager::StoppedService() const
{
    return L"tvnstopped";
}

std::wstring ServiceManager::BrokenService() const
{
    return L"tvnbroken";
}

} // namespace Contract
