#include "shared.services-services.hpp"

#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.services-native.hpp"

namespace Shared::Services
{

namespace
{

Native::Service& Require(const std::unique_ptr<Native::Service>& service)
{
    if (!service)
    {
        throw Exception::RuntimeException("No service handle");
    }
    return *service;
}

} // namespace

Service::Service() noexcept = default;

Service::Service(std::unique_ptr<Native::Service> native) noexcept : m_service(std::move(native))
{
}

Service::Service(Service&& other) noexcept = default;
Service& Service::operator=(Service&& other) noexcept = default;
Service::~Service() = default;

void Service::Start()
{
    Require(m_service).Start();
}

void Service::Delete()
{
    Require(m_service).Delete();
}

ServiceState Service::QueryState() const
{
    return Require(m_service).QueryState();
}

ServiceControlManager ServiceControlManager::Open(std::uint32_t access)
{
    return ServiceControlManager{Native::OpenManager(access)};
}

ServiceControlManager::ServiceControlManager(std::shared_ptr<Native::Manager> native) noexcept
    : m_scm(std::move(native))
{
}

ServiceControlManager::ServiceControlManager(ServiceControlManager&& other) noexcept = default;
ServiceControlManager& ServiceControlManager::operator=(ServiceControlManager&& other) noexcept = default;
ServiceControlManager::~ServiceControlManager() = default;

Service ServiceControlManager::AccessService(const std::wstring& service, std::uint32_t access) const
{
    if (!m_scm)
    {
        throw Exception::RuntimeException("m_scm is null");
    }
    if (service.empty())
    {
        throw Exception::InvalidArgumentException("Service parameter cannot be null");
    }
    return Service{Native::FindService(m_scm, service, access)};
}

} // namespace Shared::Services
