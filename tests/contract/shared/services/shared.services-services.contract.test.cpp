#include "shared.services-services.hpp"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contract.servicemanager.hpp"
#include "shared.exception-exceptions.hpp"

namespace
{

using namespace Shared::Services;
using Contract::ServiceManager;
using Shared::Exception::Win32Exception;
using testing::HasSubstr;

/// The platform's service manager with a service that runs and one that does not.
class ServicesContract : public testing::Test
{
protected:
    void SetUp() override
    {
        if (const auto reason = ServiceManager::WhyUnavailable())
        {
            GTEST_SKIP() << *reason;
        }
        m_manager.emplace();
    }

    ServiceManager& Manager()
    {
        return *m_manager;
    }

    template <typename Exception, typename Function>
    static void ExpectFailure(const std::string& text, Function function)
    {
        try
        {
            function();
            ADD_FAILURE() << "no exception";
        }
        catch (const Exception& exception)
        {
            EXPECT_THAT(exception.what(), HasSubstr(text));
        }
    }

private:
    std::optional<ServiceManager> m_manager;
};

TEST_F(ServicesContract, AServiceThatRunsIsRunning)
{
    const auto manager = ServiceControlManager::Open(Access::ManagerConnect);
    const auto service = manager.AccessService(Manager().RunningService(), Access::ServiceQueryStatus);
    EXPECT_EQ(service.QueryState(), ServiceState::Running);
}

TEST_F(ServicesContract, AServiceThatDoesNotRunIsStopped)
{
    const auto manager = ServiceControlManager::Open(Access::ManagerConnect);
    const auto service = manager.AccessService(Manager().StoppedService(), Access::ServiceQueryStatus);
    EXPECT_EQ(service.QueryState(), ServiceState::Stopped);
}

TEST_F(ServicesContract, AllAccessMayBeAskedFor)
{
    const auto manager = ServiceControlManager::Open(Access::ManagerAll);
    EXPECT_EQ(
        manager.AccessService(Manager().RunningService(), Access::ServiceQueryStatus).QueryState(),
        ServiceState::Running);
}

TEST_F(ServicesContract, AServiceThatDoesNotExistThrows)
{
    const auto manager = ServiceControlManager::Open(Access::ManagerConnect);
    ExpectFailure<Win32Exception>(
        "OpenServiceW() failed",
        [&manager] { manager.AccessService(L"tvnnosuchservice", Access::ServiceQueryStatus); });
}

TEST_F(ServicesContract, AnEmptyNameIsRefused)
{
    const auto manager = ServiceControlManager::Open(Access::ManagerConnect);
    ExpectFailure<std::invalid_argument>(
        "Service parameter cannot be null", [&manager] { manager.AccessService(L"", Access::ServiceQueryStatus); });
}

TEST_F(ServicesContract, AManagerThatWasMovedAwayOpensNothing)
{
    auto first = ServiceControlManager::Open(Access::ManagerConnect);
    const auto second = std::move(first);
    ExpectFailure<std::runtime_error>(
        "m_scm is null",
        [this, &first]
        { first.AccessService(Manager().RunningService(), Access::ServiceQueryStatus); }); // NOLINT: the point
    EXPECT_EQ(
        second.AccessService(Manager().RunningService(), Access::ServiceQueryStatus).QueryState(),
        ServiceState::Running);
}

TEST_F(ServicesContract, AServiceOutlivesItsManager)
{
    auto service = std::make_unique<ServiceControlManager>(ServiceControlManager::Open(Access::ManagerConnect))
                       ->AccessService(Manager().RunningService(), Access::ServiceQueryStatus);
    EXPECT_EQ(service.QueryState(), ServiceState::Running);
}

TEST_F(ServicesContract, AServiceThatCannotStartThrows)
{
    const auto manager = ServiceControlManager::Open(Access::ManagerConnect);
    auto service = manager.AccessService(Manager().BrokenService(), Access::ServiceStart);
    ExpectFailure<Win32Exception>("StartServiceW() failed", [&service] { service.Start(); });
}

TEST_F(ServicesContract, ADeletionIsDoneOrRefused)
{
    const auto manager = ServiceControlManager::Open(Access::ManagerConnect);
    auto service = manager.AccessService(Manager().BrokenService(), Access::ServiceDelete);
    if (ServiceManager::CanDelete)
    {
        service.Delete();
        // Marked a first time already.
        ExpectFailure<Win32Exception>("DeleteService() failed", [&service] { service.Delete(); });
        return;
    }
    ExpectFailure<Win32Exception>("DeleteService() failed", [&service] { service.Delete(); });
    EXPECT_NO_THROW(manager.AccessService(Manager().BrokenService(), Access::ServiceQueryStatus));
}

TEST_F(ServicesContract, WithoutAServiceNothingCanBeDone)
{
    Service service;
    ExpectFailure<std::runtime_error>("No service handle", [&service] { service.Start(); });
    ExpectFailure<std::runtime_error>("No service handle", [&service] { service.Delete(); });
    ExpectFailure<std::runtime_error>("No service handle", [&service] { service.QueryState(); });
}

} // namespace
