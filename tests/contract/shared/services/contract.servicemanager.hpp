#pragma once

#include <memory>
#include <optional>
#include <string>

namespace Contract
{

/// A service manager that tests may use: the system's own on Windows, with services of the test's own in it; on Linux a
/// small systemd on a private message bus, towards which the process's environment is turned while it lives.
class ServiceManager
{
public:
    /// Whether Service::Delete() can succeed.
    static const bool CanDelete;

    /// Nothing when one can be made here, else why not.
    static std::optional<std::string> WhyUnavailable();

    ServiceManager();
    ServiceManager(ServiceManager&&) = delete;
    ~ServiceManager();

    std::wstring RunningService() const;
    std::wstring StoppedService() const;
    /// Exists, and starting it fails.
    std::wstring BrokenService() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Contract
