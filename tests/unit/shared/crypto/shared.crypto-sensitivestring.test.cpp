#include "shared.crypto-sensitivestring.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.crypto-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.crypto-releasedmemory.hpp"
#include "test.support-settingsstore.hpp"

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace
{

using CryptoTest::ReleasedMemory;
using Shared::Crypto::SensitiveNarrowString;
using Shared::Crypto::SensitiveString;
using namespace std::string_view_literals;

const std::string Secret = "a secret long enough for the heap, whatever short strings have inside of themselves";
const std::wstring WideSecret(Secret.begin(), Secret.end());

/// Whether the characters lie inside of the object itself, where moving would leave them.
bool IsInside(const SensitiveString& text)
{
    const std::less<const void*> isBefore;
    const void* const characters = text.GetView().data();
    return !isBefore(characters, &text) && isBefore(characters, &text + 1);
}

TEST(SensitiveStringTest, HoldsTheTextWithItsNullCharacters)
{
    const SensitiveString text(L"a\0b"sv);
    EXPECT_EQ(text.GetView(), L"a\0b"sv);
    EXPECT_EQ(text.GetSize(), 3U);
    EXPECT_FALSE(text.IsEmpty());
    EXPECT_TRUE(SensitiveString().IsEmpty());
    EXPECT_EQ(SensitiveString().GetView(), L""sv);
}

TEST(SensitiveStringTest, IsWipedBeforeItsEnd)
{
    const ReleasedMemory released(Secret);
    {
        const SensitiveString text(WideSecret);
        EXPECT_EQ(text.GetView(), WideSecret);
    }
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, IsWipedWhenItIsDestroyedByItsBase)
{
    class Derived : public SensitiveString
    {
    public:
        using SensitiveString::SensitiveString;
    };

    const ReleasedMemory released(Secret);
    {
        const std::unique_ptr<SensitiveString> text = std::make_unique<Derived>(WideSecret);
        EXPECT_EQ(text->GetView(), WideSecret);
    }
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, ClearingWipesAndEmptiesIt)
{
    const ReleasedMemory released(Secret);
    SensitiveString text(WideSecret);
    text.Clear();
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.GetView(), L""sv);
    EXPECT_EQ(released.CountHolding(), 0U);
    text.Append(L"again");
    EXPECT_EQ(text.GetView(), L"again"sv);
}

TEST(SensitiveStringTest, GrowingLeavesNothingInTheStorageOfBefore)
{
    const ReleasedMemory released(Secret);
    SensitiveString text(WideSecret);
    for (int i = 0; i < 10; ++i)
    {
        text.Append(std::wstring(text.GetSize(), L'x'));
    }
    EXPECT_TRUE(text.GetView().starts_with(WideSecret));
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, MovingTakesTheStorageAndLeavesAnEmptyText)
{
    const ReleasedMemory released(Secret);
    {
        SensitiveString text(WideSecret);
        const wchar_t* const storage = text.GetView().data();
        SensitiveString taken(std::move(text));
        EXPECT_EQ(taken.GetView().data(), storage);
        EXPECT_TRUE(text.IsEmpty()); // NOLINT(bugprone-use-after-move): what is left is what is tested
        text = std::move(taken);
        EXPECT_EQ(text.GetView().data(), storage);
        EXPECT_TRUE(taken.IsEmpty()); // NOLINT(bugprone-use-after-move)
    }
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, AShortTextIsOutsideOfTheObjectTooWhereMovingCannotLeaveIt)
{
    const SensitiveString text(L"x");
    EXPECT_FALSE(IsInside(text));
}

TEST(SensitiveStringTest, AssigningWipesWhatWasThere)
{
    const ReleasedMemory released(Secret);
    SensitiveString text(WideSecret);
    const SensitiveString other(L"other");
    text = other;
    EXPECT_EQ(text.GetView(), L"other"sv);
    EXPECT_EQ(other.GetView(), L"other"sv);
    text = SensitiveString(WideSecret);
    text = SensitiveString(L"another");
    EXPECT_EQ(text.GetView(), L"another"sv);
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, AssigningItToItselfChangesNothing)
{
    SensitiveString text(WideSecret);
    SensitiveString& same = text;
    text = same;
    EXPECT_EQ(text.GetView(), WideSecret);
    text = std::move(same);
    EXPECT_EQ(text.GetView(), WideSecret);
}

TEST(SensitiveStringTest, ACopyIsATextOfItsOwn)
{
    SensitiveString text(WideSecret);
    const SensitiveString copy(text);
    EXPECT_NE(copy.GetView().data(), text.GetView().data());
    text.Clear();
    EXPECT_EQ(copy.GetView(), WideSecret);
}

TEST(SensitiveStringTest, ConversionsKeepTheTextAndLeaveNoCopy)
{
    const std::string utf8 = Secret + " \xC3\xA4\xF0\x9F\x98\x80";
    const std::wstring expected = Shared::Util::ConvertStringType(std::string_view(utf8));
    const ReleasedMemory released(Secret);
    {
        const SensitiveString wide = Shared::Crypto::ToSensitiveString(utf8);
        EXPECT_EQ(wide.GetView(), expected);
        const SensitiveNarrowString narrow = Shared::Crypto::ToUtf8(wide);
        EXPECT_EQ(narrow.GetView(), utf8);
    }
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, DecipheringLeavesNoCopyOfThePlainText)
{
    const std::string enciphered = Shared::Crypto::Encrypt(Secret, "key");
    const ReleasedMemory released(Secret);
    EXPECT_EQ(Shared::Crypto::Decrypt(enciphered, "key").GetView(), Secret);
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, CipheringLeavesNoCopyOfTheKey)
{
    const ReleasedMemory released(Secret);
    EXPECT_EQ(Shared::Crypto::Decrypt(Shared::Crypto::Encrypt("text", Secret), Secret).GetView(), "text");
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, ReadingTheUserIdLeavesNeitherUserNorKey)
{
    namespace Settings = Shared::AppSettings;
    namespace WinReg = Shared::WinReg;
    const TestSupport::TemporarySettingsStore store;
    WinReg::CreateKey(WinReg::Root::LocalMachine, Settings::GetVpnVelKeyPath());
    WinReg::SetStringValue(
        WinReg::Root::LocalMachine, Settings::GetVpnVelKeyPath(), L"user-id",
        Shared::Util::ConvertStringType(std::string_view(Shared::Crypto::Encrypt(Secret, Secret))));
    const SensitiveString key(WideSecret);
    const ReleasedMemory released(Secret);
    EXPECT_EQ(Settings::GetUserId(key).GetView(), WideSecret);
    EXPECT_EQ(released.CountHolding(), 0U);
}

TEST(SensitiveStringTest, WritingTheRegisteredIdLeavesNeitherIdNorKey)
{
    namespace Settings = Shared::AppSettings;
    namespace WinReg = Shared::WinReg;
    const TestSupport::TemporarySettingsStore store;
    WinReg::CreateKey(WinReg::Root::LocalMachine, Settings::Paths::Config);
    const SensitiveString key(WideSecret);
    const ReleasedMemory released(Secret);
    Settings::SetRegisteredSubtenantId(WideSecret, key);
    EXPECT_EQ(released.CountHolding(), 0U);
}

} // namespace
