#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// The system's services: the service control manager on Windows, systemd on Linux.
///
/// Failures are Win32Exception with the texts below and the platform's code. That there is no manager, or no such service,
/// is a normal answer of a machine and comes as such an exception too: on Linux with ENOENT or what the bus said.
/// Objects belong to one thread at a time, a service and its manager to the same. No call waits longer than some seconds
/// for an answer on Linux.
///
/// What differs on Linux: the name of a service is that of its unit, with or without ".service"; access rights are not
/// asked for beforehand, the manager judges each call; starting a service that runs succeeds; a service cannot be deleted.
namespace Shared::Services
{

/// Access rights of the service control manager, by its numbers.
namespace Access
{
inline constexpr std::uint32_t ManagerConnect = 0x0001;
inline constexpr std::uint32_t ManagerAll = 0xF003F;
inline constexpr std::uint32_t ServiceQueryStatus = 0x0004;
inline constexpr std::uint32_t ServiceStart = 0x0010;
inline constexpr std::uint32_t ServiceDelete = 0x10000;
} // namespace Access

/// States of a service, with the service control manager's numbers.
enum class ServiceState : std::uint32_t
{
    Stopped = 1,
    StartPending = 2,
    StopPending = 3,
    Running = 4,
    ContinuePending = 5,
    PausePending = 6,
    Paused = 7
};

namespace Native
{
class Manager;
class Service;
} // namespace Native

/// One service, opened. Can be moved, not copied.
class Service
{
public:
    /// No service: every operation fails with "No service handle".
    Service() noexcept;
    explicit Service(std::unique_ptr<Native::Service> native) noexcept;
    Service(const Service&) = delete;
    Service(Service&& other) noexcept;
    Service& operator=(const Service&) = delete;
    Service& operator=(Service&& other) noexcept;
    virtual ~Service();

    /// Starts it, and does not wait until it runs. Throws the runtime exception "No service handle" and Win32Exception
    /// "StartServiceW() failed".
    virtual void Start();
    /// Marks it for deletion. Throws the runtime exception "No service handle" and Win32Exception "DeleteService()
    /// failed", which on Linux is always the answer (EOPNOTSUPP): a unit belongs to whatever installed its file.
    virtual void Delete();
    /// Its state at this moment. Throws the runtime exception "No service handle" and Win32Exception
    /// "QueryServiceStatusEx() failed".
    virtual ServiceState QueryState() const;

private:
    std::unique_ptr<Native::Service> m_service;
};

/// The manager, opened. Can be moved, not copied.
class ServiceControlManager
{
public:
    /// Opens this machine's manager with the given access. Throws Win32Exception "OpenSCManagerW() failed".
    static ServiceControlManager Open(std::uint32_t access);

    ServiceControlManager(const ServiceControlManager&) = delete;
    ServiceControlManager(ServiceControlManager&& other) noexcept;
    ServiceControlManager& operator=(const ServiceControlManager&) = delete;
    ServiceControlManager& operator=(ServiceControlManager&& other) noexcept;
    virtual ~ServiceControlManager();

    /// Opens a service with the given access. Throws the runtime exception "m_scm is null" when the manager was moved
    /// away, the invalid-argument exception "Service parameter cannot be null" for an empty name, Win32Exception
    /// "OpenServiceW() failed", as for a service that does not exist.
    virtual Service AccessService(const std::wstring& service, std::uint32_t access) const;

private:
    explicit ServiceControlManager(std::shared_ptr<Native::Manager> native) noexcept;

    std::shared_ptr<Native::Manager> m_scm;
};

} // namespace Shared::Services
