#include "agentcore.tests-hostresolver.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.concurrency-event.hpp"
#include "shared.exception-errortext.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-time.hpp"

namespace
{

using namespace AgentCore::Tests;
using Shared::Concurrency::Event;
using Shared::Log::Level;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Addresses = std::vector<std::wstring>;
namespace ErrorCode = Shared::Platform::ErrorCode;

/// How a question goes.
struct Course
{
    /// IoPending, or how it ends at once.
    std::int32_t started = ErrorCode::IoPending;
    bool endsInTime = true;
    std::int32_t error = 0;
    Addresses addresses = {};
    /// Done by the wait before its result.
    std::function<void()> onWait = [] {
    };
};

class FakeQuery final : public AddressQuery
{
public:
    FakeQuery(Course course, std::vector<std::string>& steps) : m_course(std::move(course)), e_steps(steps)
    {
    }

    ~FakeQuery() override
    {
        e_steps.emplace_back("destroyed");
    }

    std::int32_t Start(const std::wstring&, Completion completion) override
    {
        e_steps.emplace_back("start");
        if (m_course.started != static_cast<std::int32_t>(ErrorCode::IoPending))
        {
            completion(m_course.started, m_course.addresses);
        }
        m_completion = std::move(completion);
        return m_course.started;
    }

    bool Wait(std::uint32_t timeoutMs) override
    {
        e_steps.push_back(timeoutMs == Shared::Time::Infinite ? "wait" : "wait " + std::to_string(timeoutMs));
        m_course.onWait();
        if (!m_course.endsInTime && timeoutMs != Shared::Time::Infinite)
        {
            return false;
        }
        m_completion(m_course.error, m_course.addresses);
        return true;
    }

    void Cancel() noexcept override
    {
        e_steps.emplace_back("cancel");
        m_course.error = ErrorCode::ResolutionCancelled;
    }

private:
    Course m_course;
    Completion m_completion;
    std::vector<std::string>& e_steps;
};

class HostResolverTest : public testing::Test
{
protected:
    Addresses Resolve(const Course& course, const std::wstring& name = L"host.example", std::uint32_t timeoutMs = 100)
    {
        HostResolver resolver{[&]
                              {
                                  return std::make_unique<FakeQuery>(course, m_steps);
                              }};
        return resolver.Resolve(name, timeoutMs);
    }

    std::string FailureOf(const Course& course, const std::wstring& name = L"host.example")
    {
        try
        {
            Resolve(course, name);
        }
        catch (const Shared::Exception::RuntimeException& exception)
        {
            return exception.what();
        }
        return "no failure";
    }

    TestSupport::CapturedLog m_log;
    std::vector<std::string> m_steps;
};

TEST_F(HostResolverTest, AnAnswerInTimeIsGiven)
{
    EXPECT_THAT(Resolve({.addresses = {L"192.0.2.1", L"192.0.2.2"}}), ElementsAre(L"192.0.2.1", L"192.0.2.2"));
    EXPECT_THAT(m_steps, ElementsAre("start", "wait 100", "destroyed"));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(HostResolverTest, AnImmediateAnswerIsNotWaitedFor)
{
    EXPECT_THAT(Resolve({.started = 0, .addresses = {L"127.0.0.1"}}), ElementsAre(L"127.0.0.1"));
    EXPECT_THAT(m_steps, ElementsAre("start", "destroyed"));
}

TEST_F(HostResolverTest, AnImmediateFailureGivesNoAddressesAndTheLogTells)
{
    EXPECT_THAT(Resolve({.started = ErrorCode::HostNotFound}), IsEmpty());
    ASSERT_EQ(m_log.Lines().size(), 1U);
    EXPECT_EQ(m_log.Lines()[0].level, Level::Error);
    EXPECT_EQ(m_log.Lines()[0].text, "QueryCompleteCallback() failed: 11001");
}

TEST_F(HostResolverTest, ALateFailureIsThrownWithTheSystemsText)
{
    const auto text = FailureOf({.error = ErrorCode::HostNoData});
    EXPECT_THAT(text, HasSubstr("Exception in Resolve() at "));
    EXPECT_THAT(
        text,
        HasSubstr(
            "Failed to resolve address for host name \"host.example\" with error: 11004 - " +
            Shared::Exception::TranslateWin32Error(11004)));
    EXPECT_EQ(m_log.Count(Level::Error, "QueryCompleteCallback() failed: 11004"), 1U);
}

TEST_F(HostResolverTest, ATimeOutCancelsWaitsForTheEndAndThrows)
{
    const auto text = FailureOf({.endsInTime = false});
    EXPECT_THAT(text, HasSubstr("Exception in Resolve() at "));
    EXPECT_THAT(
        text, HasSubstr("Address reolution for host name \"host.example\" took longer than 100 ms to complete."));
    EXPECT_THAT(m_steps, ElementsAre("start", "wait 100", "cancel", "wait", "destroyed"));
}

TEST_F(HostResolverTest, ANameThatIsEmptyOrHoldsANullCharacterIsNotAsked)
{
    EXPECT_THAT(Resolve({}, L""), IsEmpty());
    EXPECT_THAT(Resolve({}, std::wstring(L"localhost\0.example", 18)), IsEmpty());
    EXPECT_EQ(m_log.Count(Level::Error, "QueryCompleteCallback() failed: 11001"), 2U);
    EXPECT_THAT(m_steps, ElementsAre("destroyed", "destroyed"));
}

TEST_F(HostResolverTest, ANameIsToldInTheFailureWhateverItHolds)
{
    const std::wstring name = L"--option \"; rm {} %s \u00E4";
    EXPECT_THAT(FailureOf({.error = 11001}, name), HasSubstr("host name \"--option \"; rm {} %s \u00E4\" with error"));
}

TEST_F(HostResolverTest, ResolutionsOfAllResolversRunOneAfterTheOther)
{
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    Course course;
    course.onWait = [&]
    {
        most = std::max(most.load(), ++inside);
        Shared::Time::SleepFor(std::chrono::milliseconds(2));
        --inside;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
    {
        threads.emplace_back(
            [&]
            {
                std::vector<std::string> steps;
                HostResolver resolver{[&]
                                      {
                                          return std::make_unique<FakeQuery>(course, steps);
                                      }};
                resolver.Resolve(L"host.example", 100);
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(most, 1);
}

TEST_F(HostResolverTest, ASlowResolutionDelaysTheNext)
{
    Event slowRuns{false, true};
    Event goOn{false, true};
    Course slow;
    slow.onWait = [&]
    {
        slowRuns.Signal();
        EXPECT_TRUE(goOn.WaitOnEvent(TestSupport::LimitMs));
    };
    std::thread first{[&]
                      {
                          Resolve(slow);
                      }};
    ASSERT_TRUE(slowRuns.WaitOnEvent(TestSupport::LimitMs));
    Event secondEnded{false, true};
    std::thread second{[&]
                       {
                           std::vector<std::string> steps;
                           HostResolver resolver{[&]
                                                 {
                                                     return std::make_unique<FakeQuery>(Course{}, steps);
                                                 }};
                           resolver.Resolve(L"host.example", 100);
                           secondEnded.Signal();
                       }};
    EXPECT_FALSE(secondEnded.WaitOnEvent(TestSupport::QuietMs));
    goOn.Signal();
    EXPECT_TRUE(secondEnded.WaitOnEvent(TestSupport::LimitMs));
    first.join();
    second.join();
}

TEST_F(HostResolverTest, TheNextResolutionRunsAfterOneThatThrew)
{
    FailureOf({.endsInTime = false});
    EXPECT_THAT(Resolve({.addresses = {L"192.0.2.1"}}), ElementsAre(L"192.0.2.1"));
}

} // namespace
