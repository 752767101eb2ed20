#include "shared.services-services.hpp"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contract.fakesystemd.linux.hpp"
#include "shared.exception-exceptions.hpp"

namespace
{

using namespace Shared::Services;
using Contract::FakeSystemd;
using Shared::Exception::Win32Exception;
using testing::HasSubstr;

template <typename Function>
std::uint32_t CodeOf(const std::string& text, Function function)
{
    try
    {
        function();
        ADD_FAILURE() << "no exception";
    }
    catch (const Win32Exception& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr(text));
        return exception.GetCode();
    }
    return 0;
}

ServiceState StateOf(const std::wstring& name)
{
    return ServiceControlManager::Open(Access::ManagerConnect)
        .AccessService(name, Access::ServiceQueryStatus)
        .QueryState();
}

class SystemdTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!FakeSystemd::IsAvailable())
        {
            GTEST_SKIP() << "the message bus is not installed (package dbus-daemon)";
        }
    }
};

TEST_F(SystemdTest, EachStateOfAUnitHasItsPlace)
{
    const FakeSystemd systemd{
        {{"a.service", {"loaded", "active", true}},
         {"b.service", {"loaded", "reloading", true}},
         {"c.service", {"loaded", "inactive", true}},
         {"d.service", {"loaded", "failed", true}},
         {"e.service", {"loaded", "activating", true}},
         {"f.service", {"loaded", "deactivating", true}},
         {"g.service", {"masked", "inactive", true}}}};
    EXPECT_EQ(StateOf(L"a"), ServiceState::Running);
    EXPECT_EQ(StateOf(L"b"), ServiceState::Running);
    EXPECT_EQ(StateOf(L"c"), ServiceState::Stopped);
    EXPECT_EQ(StateOf(L"d"), ServiceState::Stopped);
    EXPECT_EQ(StateOf(L"e"), ServiceState::StartPending);
    EXPECT_EQ(StateOf(L"f"), ServiceState::StopPending);
    EXPECT_EQ(StateOf(L"g"), ServiceState::Stopped);
}

TEST_F(SystemdTest, AStateThatNobodyKnowsIsAFailure)
{
    const FakeSystemd systemd{{{"a.service", {"loaded", "dreaming", true}}}};
    EXPECT_EQ(CodeOf("QueryServiceStatusEx() failed", [] { StateOf(L"a"); }), static_cast<std::uint32_t>(EBADMSG));
}

TEST_F(SystemdTest, TheSuffixOfTheUnitMayBeGiven)
{
    const FakeSystemd systemd{{{"a.service", {"loaded", "active", true}}}};
    EXPECT_EQ(StateOf(L"a.service"), ServiceState::Running);
}

TEST_F(SystemdTest, AStartedServiceRuns)
{
    const FakeSystemd systemd{{{"a.service", {"loaded", "inactive", true}}}};
    auto service = ServiceControlManager::Open(Access::ManagerConnect).AccessService(L"a", Access::ServiceStart);
    EXPECT_EQ(service.QueryState(), ServiceState::Stopped);
    service.Start();
    EXPECT_EQ(service.QueryState(), ServiceState::Running);
    EXPECT_NO_THROW(service.Start());
}

TEST_F(SystemdTest, AServiceThatDoesNotExistIsToldByItsCode)
{
    const FakeSystemd systemd{{}};
    EXPECT_EQ(CodeOf("OpenServiceW() failed", [] { StateOf(L"a"); }), static_cast<std::uint32_t>(ENOENT));
}

TEST_F(SystemdTest, DeletingIsRefusedByItsCode)
{
    const FakeSystemd systemd{{{"a.service", {"loaded", "inactive", true}}}};
    auto service = ServiceControlManager::Open(Access::ManagerConnect).AccessService(L"a", Access::ServiceDelete);
    EXPECT_EQ(
        CodeOf("DeleteService() failed", [&service] { service.Delete(); }), static_cast<std::uint32_t>(EOPNOTSUPP));
}

TEST_F(SystemdTest, ABusWithoutSystemdHasNoManager)
{
    const FakeSystemd systemd{{}, false};
    EXPECT_NE(CodeOf("OpenSCManagerW() failed", [] { ServiceControlManager::Open(Access::ManagerConnect); }), 0U);
}

TEST_F(SystemdTest, ABusThatDiesIsAFailureAndNoHang)
{
    std::optional<Service> service;
    {
        const FakeSystemd systemd{{{"a.service", {"loaded", "active", true}}}};
        service = ServiceControlManager::Open(Access::ManagerConnect).AccessService(L"a", Access::ServiceQueryStatus);
    }
    EXPECT_NE(CodeOf("QueryServiceStatusEx() failed", [&service] { service->QueryState(); }), 0U);
}

/// The environment turned towards a bus that is not there.
class NoBusTest : public testing::Test
{
protected:
    NoBusTest()
    {
        if (const char* const before = std::getenv("DBUS_SYSTEM_BUS_ADDRESS"))
        {
            m_before = before;
        }
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/socket", 1);
    }

    ~NoBusTest() override
    {
        if (m_before)
        {
            ::setenv("DBUS_SYSTEM_BUS_ADDRESS", m_before->c_str(), 1);
        }
        else
        {
            ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        }
    }

private:
    std::optional<std::string> m_before;
};

TEST_F(NoBusTest, WithoutABusThereIsNoManager)
{
    EXPECT_EQ(
        CodeOf("OpenSCManagerW() failed", [] { ServiceControlManager::Open(Access::ManagerConnect); }),
        static_cast<std::uint32_t>(ENOENT));
}

} // namespace
