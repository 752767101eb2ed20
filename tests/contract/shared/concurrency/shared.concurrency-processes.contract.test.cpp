#include "shared.concurrency-functions.hpp"

#include "contract.concurrencychild.hpp"
#include "shared.time-clock.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <chrono>
#include <cwctype>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using Contract::ConcurrencyChild;
using Contract::OwnId;
using Contract::OwnProgramName;
using Shared::Concurrency::GetProcessIDByName;
using TestSupport::RuntimeText;

namespace
{

constexpr std::int32_t AnySession = -1;

bool Contains(const std::vector<std::uint32_t>& ids, std::uint32_t id)
{
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

std::wstring InOtherCase(std::wstring name)
{
    for (wchar_t& character : name)
    {
        character = static_cast<wchar_t>(
            std::iswupper(static_cast<std::wint_t>(character)) != 0
                ? std::towlower(static_cast<std::wint_t>(character))
                : std::towupper(static_cast<std::wint_t>(character)));
    }
    return name;
}

} // namespace

TEST(GetProcessIDByNameTest, TheOwnProcessIsFoundByItsExecutablesName)
{
    EXPECT_TRUE(Contains(GetProcessIDByName(OwnProgramName(), AnySession), OwnId()));
}

TEST(GetProcessIDByNameTest, CaseDoesNotMatter)
{
    const std::wstring name = InOtherCase(OwnProgramName());
    ASSERT_NE(name, OwnProgramName());
    EXPECT_TRUE(Contains(GetProcessIDByName(name, AnySession), OwnId()));
}

TEST(GetProcessIDByNameTest, EveryNegativeSessionMeansAny)
{
    EXPECT_TRUE(Contains(GetProcessIDByName(OwnProgramName(), -2), OwnId()));
}

TEST(GetProcessIDByNameTest, AllProcessesOfTheNameAreFoundAndOnlyThey)
{
    ConcurrencyChild first({L"--sleep"});
    ConcurrencyChild second({L"--sleep"});
    // A child that was only just started may still be on its way to its program.
    std::vector<std::uint32_t> ids;
    for (const TestSupport::Stopwatch watch;
         !(Contains(ids, first.Id()) && Contains(ids, second.Id())) && watch.ElapsedMs() < TestSupport::LimitMs;)
    {
        // Not without a pause: asking again and again keeps a system from starting the child.
        Shared::Time::SleepFor(std::chrono::milliseconds(20));
        ids = GetProcessIDByName(ConcurrencyChild::ProgramName(), AnySession);
    }
    EXPECT_TRUE(Contains(ids, first.Id()));
    EXPECT_TRUE(Contains(ids, second.Id()));
    EXPECT_FALSE(Contains(ids, OwnId()));
    EXPECT_EQ(std::count(ids.begin(), ids.end(), first.Id()), 1);
    first.Kill();
    EXPECT_FALSE(Contains(GetProcessIDByName(ConcurrencyChild::ProgramName(), AnySession), first.Id()));
    EXPECT_TRUE(Contains(GetProcessIDByName(ConcurrencyChild::ProgramName(), AnySession), second.Id()));
}

TEST(GetProcessIDByNameTest, APartOfANameIsNoName)
{
    const std::wstring name = OwnProgramName();
    EXPECT_FALSE(Contains(GetProcessIDByName(name.substr(0, name.size() - 1), AnySession), OwnId()));
    EXPECT_FALSE(Contains(GetProcessIDByName(name + L"x", AnySession), OwnId()));
}

TEST(GetProcessIDByNameTest, NobodyIsFoundByANameThatNobodyHas)
{
    EXPECT_TRUE(GetProcessIDByName(L"no such program has ever been.exe", AnySession).empty());
    EXPECT_TRUE(GetProcessIDByName(L"no such program has ever been.exe", 1).empty());
}

TEST(GetProcessIDByNameTest, AnEmptyNameIsRefused)
{
    EXPECT_EQ(RuntimeText([] { (void)GetProcessIDByName(L"", AnySession); }), "ProcessName cannot be empty.");
}
