#pragma once

#include "shared.services-services.hpp"

#include <cstdint>
#include <memory>
#include <string>

/// What the two platforms do differently behind Shared::Services: for its own code and tests.
namespace Shared::Services::Native
{

/// An opened manager; both platforms define it whole in their own file.
class Manager;

/// An opened service. Texts of failures are those of Shared::Services::Service.
class Service
{
public:
    Service() = default;
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    virtual ~Service() = default;

    virtual void Start() = 0;
    virtual void Delete() = 0;
    virtual ServiceState QueryState() const = 0;
};

/// Throws Win32Exception "OpenSCManagerW() failed".
std::shared_ptr<Manager> OpenManager(std::uint32_t access);

/// Throws Win32Exception "OpenServiceW() failed". `name` is not empty.
std::unique_ptr<Service> FindService(
    const std::shared_ptr<Manager>& manager, const std::wstring& name, std::uint32_t access);

} // namespace Shared::Services::Native
