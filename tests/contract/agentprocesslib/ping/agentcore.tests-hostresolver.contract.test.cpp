#include "agentcore.tests-hostresolver.hpp"

#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "shared.winsock-winsockinitialiser.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-time.hpp"

namespace
{

using namespace AgentCore::Tests;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::IsEmpty;
using testing::Not;
using Addresses = std::vector<std::wstring>;

/// Some systems name an address once for each kind of socket.
const auto IsItself = AllOf(Not(IsEmpty()), Each(L"192.0.2.7"));

class HostResolverContract : public testing::Test
{
protected:
    HostResolverContract()
    {
        m_winsock.Initialise();
    }

    /// None as well when the failure is thrown.
    Addresses ResolveOrNone(const std::wstring& name)
    {
        try
        {
            return m_resolver.Resolve(name, TestSupport::LimitMs);
        }
        catch (const Shared::Exception::RuntimeException&)
        {
            return {};
        }
    }

    Shared::WinSock::WinSockInitialiser m_winsock;
    TestSupport::CapturedLog m_log;
    HostResolver m_resolver;
};

TEST_F(HostResolverContract, AnAddressComesBackAsItself)
{
    EXPECT_THAT(m_resolver.Resolve(L"192.0.2.7", TestSupport::LimitMs), IsItself);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(HostResolverContract, AnIpV6AddressHasNoIpV4Address)
{
    EXPECT_THAT(ResolveOrNone(L"2001:db8::7"), IsEmpty());
}

TEST_F(HostResolverContract, TheMachineItselfIsKnown)
{
    EXPECT_THAT(m_resolver.Resolve(L"localhost", TestSupport::LimitMs), Contains(L"127.0.0.1"));
}

TEST_F(HostResolverContract, WhatCanBeNoNameHasNoAddresses)
{
    EXPECT_THAT(ResolveOrNone(L""), IsEmpty());
    EXPECT_THAT(ResolveOrNone(std::wstring(64, L'a') + L".invalid"), IsEmpty());
    EXPECT_THAT(ResolveOrNone(std::wstring(10'240, L'b')), IsEmpty());
    EXPECT_THAT(ResolveOrNone(std::wstring(L"localhost\0x", 11)), IsEmpty());
}

TEST_F(HostResolverContract, SeveralThreadsResolveAtOnce)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            []
            {
                HostResolver resolver;
                for (int round = 0; round < 25; ++round)
                {
                    EXPECT_THAT(resolver.Resolve(L"192.0.2.7", TestSupport::LimitMs), IsItself);
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
}

} // namespace
