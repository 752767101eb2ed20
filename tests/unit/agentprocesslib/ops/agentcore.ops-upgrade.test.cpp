#include "agentcore.ops-upgrade.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-fakeidentity.hpp"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using AgentCore::Ops::CompareVersions;
using AgentCore::Ops::VersionOrder;
using Shared::Log::Level;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

/// Checks both directions.
void ExpectOrder(const std::wstring& first, VersionOrder order, const std::wstring& second)
{
    const VersionOrder mirrored = order == VersionOrder::Newer ? VersionOrder::Older
        : order == VersionOrder::Older                         ? VersionOrder::Newer
                                                               : VersionOrder::Equal;
    EXPECT_EQ(CompareVersions(first, second), order);
    EXPECT_EQ(CompareVersions(second, first), mirrored);
}

TEST(CompareVersionsTest, NumbersAreComparedAndNotTexts)
{
    ExpectOrder(L"3.10.0", VersionOrder::Newer, L"3.9.9");
    ExpectOrder(L"10", VersionOrder::Newer, L"9");
    ExpectOrder(L"3.2.1", VersionOrder::Newer, L"3.2.0");
    ExpectOrder(L"3.2.0", VersionOrder::Equal, L"3.2.0");
    ExpectOrder(L"2.99.99", VersionOrder::Older, L"3");
    ExpectOrder(L"03.002", VersionOrder::Equal, L"3.2");
}

TEST(CompareVersionsTest, TheFirstDifferenceDecides)
{
    ExpectOrder(L"2.0.9", VersionOrder::Newer, L"1.9.9");
    ExpectOrder(L"1.2.3.4", VersionOrder::Older, L"1.3");
}

TEST(CompareVersionsTest, AShorterTextReadsAs0WhereItEnds)
{
    ExpectOrder(L"3.2", VersionOrder::Equal, L"3.2.0");
    ExpectOrder(L"3", VersionOrder::Equal, L"3.0.0.0.0");
    ExpectOrder(L"3.2", VersionOrder::Older, L"3.2.0.1");
    ExpectOrder(L"", VersionOrder::Equal, L"");
    ExpectOrder(L"", VersionOrder::Equal, L"0.0");
    ExpectOrder(L"", VersionOrder::Older, L"0.0.1");
}

TEST(CompareVersionsTest, EmptyPiecesAre0)
{
    ExpectOrder(L"3.2.", VersionOrder::Equal, L"3.2");
    ExpectOrder(L"3.2...", VersionOrder::Equal, L"3.2");
    ExpectOrder(L".", VersionOrder::Equal, L"");
    ExpectOrder(L"3..1", VersionOrder::Equal, L"3.0.1");
    ExpectOrder(L"3..1", VersionOrder::Older, L"3.1");
    ExpectOrder(L".1", VersionOrder::Newer, L"0.0.9");
}

TEST(CompareVersionsTest, AnyCharacterCountsByItsDistanceFrom0)
{
    ExpectOrder(L"a", VersionOrder::Equal, L"49");
    ExpectOrder(L"1a", VersionOrder::Equal, L"59");
    ExpectOrder(L"3.2-beta", VersionOrder::Newer, L"3.2");
    ExpectOrder(L":", VersionOrder::Equal, L"10");
    ExpectOrder(L"\u0100", VersionOrder::Equal, L"208");
    // "v" is 70: the prefix makes 3 into 703.
    ExpectOrder(L"v3.2", VersionOrder::Equal, L"703.2");
}

TEST(CompareVersionsTest, CharactersBelow0Wrap)
{
    ExpectOrder(L"-", VersionOrder::Equal, L"4294967293");
    ExpectOrder(L" 3", VersionOrder::Equal, L"4294967139");
    ExpectOrder(L"3.2 ", VersionOrder::Equal, L"3.4");
    ExpectOrder(std::wstring(1, L'\0'), VersionOrder::Equal, L"4294967248");
    ExpectOrder(std::wstring(L"3.1\0.5", 6), VersionOrder::Newer, L"3.1.5");
}

TEST(CompareVersionsTest, NumbersWrapAt32Bits)
{
    ExpectOrder(L"4294967295", VersionOrder::Newer, L"4294967294");
    ExpectOrder(L"4294967296", VersionOrder::Equal, L"0");
    ExpectOrder(L"4294967299.1", VersionOrder::Equal, L"3.1");
    // 10^32 and all that is longer is a multiple of 2^32.
    ExpectOrder(L"1" + std::wstring(399, L'0'), VersionOrder::Equal, L"0");
    ExpectOrder(L"1" + std::wstring(399, L'0') + L"7", VersionOrder::Equal, L"7");
    // Nines wrap to -1 from there on.
    ExpectOrder(std::wstring(400, L'9'), VersionOrder::Equal, L"4294967295");
}

TEST(CompareVersionsTest, LongTextsEnd)
{
    std::wstring zeros;
    for (int i = 0; i < 100'000; ++i)
    {
        zeros += L"0.";
    }
    ExpectOrder(zeros, VersionOrder::Equal, L"");
    ExpectOrder(zeros + L"1", VersionOrder::Newer, L"0");
    ExpectOrder(std::wstring(1'000'000, L'.'), VersionOrder::Equal, std::wstring(3, L'.'));
}

/// Keeps what it is set to, and is set to nothing.
class RecordingTimer : public Shared::Concurrency::WaitableTimer
{
public:
    using WaitableTimer::operator=;

    void SetTimerInMillis(std::int64_t dueTimeMs, std::uint32_t periodMs) override
    {
        settings.emplace_back(dueTimeMs, periodMs);
    }

    std::vector<std::pair<std::int64_t, std::uint32_t>> settings;
};

class UnreadableIdentity : public TestSupport::FakeIdentity
{
public:
    std::wstring GetInstalledVersion() override
    {
        throw Shared::Exception::Win32Exception("the installed version cannot be read", 2);
    }
};

class UpgradeTest : public ::testing::Test
{
protected:
    bool Upgrade(const std::wstring& installed, const std::wstring& target)
    {
        m_identity.installedVersion = installed;
        return AgentCore::Ops::CompareVersionsAndUpgrade(target, m_identity, m_timer);
    }

    void ExpectNothingAskedFor() const
    {
        EXPECT_THAT(m_identity.targetVersions, IsEmpty());
        EXPECT_THAT(m_timer.settings, IsEmpty());
    }

    TestSupport::CapturedLog m_log;
    TestSupport::FakeIdentity m_identity;
    RecordingTimer m_timer;
};

TEST_F(UpgradeTest, ANewerTargetIsWrittenAndTheTimerSetToFireEveryQuarterOfAnHour)
{
    EXPECT_TRUE(Upgrade(L"3.2.0", L"3.2.1"));
    EXPECT_THAT(m_identity.targetVersions, ElementsAre(L"3.2.1"));
    EXPECT_THAT(m_timer.settings, ElementsAre(Pair(-900'000, 900'000U)));
    EXPECT_EQ(m_identity.autoUpdateEnablings, 0);
    ASSERT_EQ(m_log.Lines().size(), 1U);
    EXPECT_EQ(m_log.Lines()[0].level, Level::Info);
    EXPECT_EQ(m_log.Lines()[0].text, "The current version is 3.2.0; the requested version is 3.2.1");
}

TEST_F(UpgradeTest, ATargetWithAPieceMoreIsNewer)
{
    EXPECT_TRUE(Upgrade(L"3.2", L"3.2.0.1"));
    EXPECT_TRUE(Upgrade(L"3.9.9", L"3.10.0"));
    EXPECT_TRUE(Upgrade(L"", L"1"));
    EXPECT_THAT(m_identity.targetVersions, ElementsAre(L"3.2.0.1", L"3.10.0", L"1"));
}

TEST_F(UpgradeTest, TheSameVersionChangesNothing)
{
    EXPECT_FALSE(Upgrade(L"3.2.0", L"3.2.0"));
    EXPECT_FALSE(Upgrade(L"3.2", L"3.2.0"));
    ExpectNothingAskedFor();
    EXPECT_EQ(m_log.Count(Level::Info, "The current version is 3.2; the requested version is 3.2.0"), 1U);
    EXPECT_EQ(m_log.Lines().size(), 2U);
}

TEST_F(UpgradeTest, AnOlderTargetIsToldAndChangesNothing)
{
    EXPECT_FALSE(Upgrade(L"3.2.1", L"3.2.0"));
    ExpectNothingAskedFor();
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].level, Level::Info);
    EXPECT_EQ(lines[0].text, "The current version is 3.2.1; the requested version is 3.2.0");
    EXPECT_EQ(lines[1].level, Level::Warning);
    EXPECT_EQ(
        lines[1].text,
        "An upgrade was initiated but the current version 3.2.1 is greater than the target version 3.2.0");
}

TEST_F(UpgradeTest, AnEmptyTargetIsToldAndChangesNothing)
{
    EXPECT_FALSE(Upgrade(L"3.2.1", L""));
    ExpectNothingAskedFor();
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, Level::Warning);
    EXPECT_EQ(
        lines[0].text,
        "An upgrade was initiated, but the target version is unexpectedly empty. Check the server's ConfigAccountAgent "
        "response to ensure the correct OS, agent class, and product is present in target_versions.");
}

TEST_F(UpgradeTest, AnEmptyTargetNeedsNoInstalledVersion)
{
    UnreadableIdentity unreadable;
    EXPECT_FALSE(AgentCore::Ops::CompareVersionsAndUpgrade(L"", unreadable, m_timer));
}

TEST_F(UpgradeTest, EachRequestIsWrittenAndSetsTheTimerAnew)
{
    EXPECT_TRUE(Upgrade(L"3.2.0", L"3.2.1"));
    EXPECT_TRUE(Upgrade(L"3.2.0", L"3.2.1"));
    EXPECT_THAT(m_identity.targetVersions, ElementsAre(L"3.2.1", L"3.2.1"));
    EXPECT_EQ(m_timer.settings.size(), 2U);
}

TEST_F(UpgradeTest, ATimerThatIsSetStaysSetWhenThereIsNothingLeftToAskFor)
{
    EXPECT_TRUE(Upgrade(L"3.2.0", L"3.2.1"));
    EXPECT_FALSE(Upgrade(L"3.2.1", L"3.2.1"));
    EXPECT_EQ(m_timer.settings.size(), 1U);
}

TEST_F(UpgradeTest, TheTargetIsWrittenAsItCame)
{
    EXPECT_TRUE(Upgrade(L"1", L" 2.0-b\u00E9ta. "));
    EXPECT_THAT(m_identity.targetVersions, ElementsAre(L" 2.0-b\u00E9ta. "));
    EXPECT_EQ(m_log.Count(Level::Info, "The current version is 1; the requested version is  2.0-b\xC3\xA9ta. "), 1U);
}

TEST_F(UpgradeTest, WhatTheSettingsRefuseIsTheCallersToSee)
{
    m_identity.targetVersionFails = true;
    EXPECT_THROW(Upgrade(L"1", L"2"), std::runtime_error);
    UnreadableIdentity unreadable;
    EXPECT_EQ(
        TestSupport::Win32Text([&] { AgentCore::Ops::CompareVersionsAndUpgrade(L"2", unreadable, m_timer); }),
        "the installed version cannot be read");
    EXPECT_THAT(m_timer.settings, IsEmpty());
}

TEST_F(UpgradeTest, ARealTimerFiresAfterAQuarterOfAnHourAndAgain)
{
    constexpr double Speed = 10'000;
    constexpr auto Period = std::chrono::minutes(15);
    constexpr std::uint32_t Long = 3'600'000;
    Shared::Concurrency::WaitableTimer timer(false, false);
    m_identity.installedVersion = L"1";
    Shared::Time::ClockControl::SetSpeed(Speed);
    const auto start = Shared::Time::MonotonicNow();
    EXPECT_TRUE(AgentCore::Ops::CompareVersionsAndUpgrade(L"2", m_identity, timer));
    EXPECT_TRUE(timer.WaitOnTimer(Long));
    EXPECT_GE(Shared::Time::MonotonicNow() - start, Period);
    EXPECT_TRUE(timer.WaitOnTimer(Long));
    EXPECT_GE(Shared::Time::MonotonicNow() - start, 2 * Period);
    Shared::Time::ClockControl::Reset();
}

} // namespace
