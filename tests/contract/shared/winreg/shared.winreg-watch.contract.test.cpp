#include <optional>
#include <thread>
#include <utility>

#include "contract.registry.hpp"
#include "contract.watchgaps.hpp"
#include "test.support-time.hpp"

using namespace Shared::WinReg;
using Shared::Concurrency::Event;

namespace
{

using TestSupport::LimitMs;
/// For a signal that must not come. It would come from another thread or process, so a while longer than usual.
constexpr std::uint32_t AWhile = 2 * TestSupport::QuietMs;

class RegistryWatchContract : public RegistryContract
{
protected:
    void SetUp() override
    {
        RegistryContract::SetUp();
        m_key = OpenKey(Machine, Key);
    }

    /// Each write differs from the one before: not every system counts an equal one as a change.
    void Change(const std::wstring& path = Key)
    {
        SetDwordValue(Machine, path, L"changing", ++m_number);
    }

    Event m_changed{false, false};
    RegKey m_key;
    std::uint32_t m_number = 0;
};

} // namespace

TEST_F(RegistryWatchContract, ThereMustBeAKey)
{
    try
    {
        WatchKey(RegKey{}, m_changed);
        FAIL() << "no exception";
    }
    catch (const std::invalid_argument& failure)
    {
        EXPECT_TRUE(std::string(failure.what()).ends_with(" --> key cannot be nullptr")) << failure.what();
    }
}

TEST_F(RegistryWatchContract, ThereMustBeAnEvent)
{
    try
    {
        WatchKey(m_key, Event{});
        FAIL() << "no exception";
    }
    catch (const std::invalid_argument& failure)
    {
        EXPECT_TRUE(std::string(failure.what()).ends_with(" --> eventToSignal is not an initialised Event"))
            << failure.what();
    }
}

TEST_F(RegistryWatchContract, AChangeFiresOnceAndNotBefore)
{
    WatchKey(m_key, m_changed);
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    Change();
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
}

TEST_F(RegistryWatchContract, EachArmingFiresAgain)
{
    for (int round = 0; round < 3; ++round)
    {
        WatchKey(m_key, m_changed);
        EXPECT_FALSE(m_changed.WaitOnEvent(0));
        Change();
        EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs)) << round;
    }
}

TEST_F(RegistryWatchContract, ANewValueAndADeletedOneAreChanges)
{
    WatchKey(m_key, m_changed);
    SetStringValue(Machine, Key, L"new", L"text");
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    WatchKey(m_key, m_changed);
    DeleteValue(Machine, Key, L"new");
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, ReadingAndDeletingWhatIsNotThereAreNone)
{
    SetStringValue(Machine, Key, L"value", L"text");
    WatchKey(m_key, m_changed);
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"text");
    DeleteValue(Machine, Key, L"nothing");
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
}

TEST_F(RegistryWatchContract, OtherKeysDoNotCount)
{
    CreateKey(Machine, Key + L"\\Config");
    CreateKey(Machine, L"SOFTWARE\\Tarvane\\Norvik");
    WatchKey(m_key, m_changed);
    Change(Key + L"\\Config");
    Change(L"SOFTWARE\\Tarvane");
    Change(L"SOFTWARE\\Tarvane\\Norvik");
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, EachKeyHasItsOwnWatch)
{
    CreateKey(Machine, Key + L"\\Config");
    const auto config = OpenKey(Machine, Key + L"\\Config");
    Event configChanged(false, false);
    WatchKey(m_key, m_changed);
    WatchKey(config, configChanged);
    Change(Key + L"\\Config");
    EXPECT_TRUE(configChanged.WaitOnEvent(LimitMs));
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, OneKeyOpenedTwiceHasTwoWatches)
{
    const auto second = OpenKey(Machine, Key);
    Event secondChanged(false, false);
    WatchKey(m_key, m_changed);
    WatchKey(second, secondChanged);
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    EXPECT_TRUE(secondChanged.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, SeveralEventsMayBeArmedOnOneKey)
{
    Event second(false, false);
    WatchKey(m_key, m_changed);
    WatchKey(m_key, second);
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    EXPECT_TRUE(second.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, ArmingTheSameEventTwiceIsOneWatch)
{
    WatchKey(m_key, m_changed);
    WatchKey(m_key, m_changed);
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    Change();
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
}

TEST_F(RegistryWatchContract, AManualResetEventStaysSignalled)
{
    Event manual(false, true);
    WatchKey(m_key, manual);
    Change();
    EXPECT_TRUE(manual.WaitOnEvent(LimitMs));
    EXPECT_TRUE(manual.WaitOnEvent(0));
}

TEST_F(RegistryWatchContract, ACopyOfTheKeyKeepsTheWatch)
{
    auto copy = m_key;
    EXPECT_TRUE(copy == m_key);
    WatchKey(m_key, m_changed);
    m_key.Close();
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, ClosingTheKeyFiresItsWatch)
{
    WatchKey(m_key, m_changed);
    m_key.Close();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    EXPECT_NO_THROW(Change());
}

TEST_F(RegistryWatchContract, DeletingTheKeyFiresItsWatch)
{
    if (const auto* const reason = WhyChangesAreMissed())
    {
        GTEST_SKIP() << reason;
    }
    WatchKey(m_key, m_changed);
    EXPECT_TRUE(DeleteKeyTree(Machine, Key));
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, WritingAnEqualValueIsAChange)
{
    if (const auto* const reason = WhyChangesAreMissed())
    {
        GTEST_SKIP() << reason;
    }
    SetStringValue(Machine, Key, L"status", L"enabled");
    WatchKey(m_key, m_changed);
    SetStringValue(Machine, Key, L"status", L"enabled");
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, AChangeBetweenFiringAndArmingFiresOnArmingOnce)
{
    if (const auto* const reason = WhyChangesAreMissed())
    {
        GTEST_SKIP() << reason;
    }
    WatchKey(m_key, m_changed);
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    Change();
    Change();
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    WatchKey(m_key, m_changed);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    WatchKey(m_key, m_changed);
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, ChangesBeforeTheFirstArmingDoNotCount)
{
    Change();
    WatchKey(m_key, m_changed);
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
}

TEST_F(RegistryWatchContract, ADeletedKeyCannotBeWatched)
{
    EXPECT_TRUE(DeleteKeyTree(Machine, Key));
    EXPECT_TRUE(TextOfFailure([this] { WatchKey(m_key, m_changed); })
                    .starts_with("Failed to watch registry key for changes --> "));
}

TEST_F(RegistryWatchContract, AnEventMayGoBeforeTheChange)
{
    std::optional<Event> gone(std::in_place, false, false);
    WatchKey(m_key, *gone);
    gone.reset();
    WatchKey(m_key, m_changed);
    Change();
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchContract, AChangeByAnotherThreadIsSeenByTheOneThatWaits)
{
    WatchKey(m_key, m_changed);
    std::thread writer([this] { Change(); });
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    writer.join();
}

TEST_F(RegistryWatchContract, WhoIsWokenReadsTheNewValue)
{
    for (std::uint32_t round = 1; round <= 20; ++round)
    {
        WatchKey(m_key, m_changed);
        std::thread writer([round] { SetDwordValue(Machine, Key, L"round", round); });
        EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
        EXPECT_EQ(GetDwordValue(Machine, Key, L"round"), round);
        writer.join();
    }
}
