#include "shared.appsettings-values.hpp"

#include "shared.exception-exceptions.hpp"
#include "test.appsettings-fixture.hpp"
#include "test.support-exceptions.hpp"

namespace
{

namespace Settings = Shared::AppSettings;
using Settings::SettingsKey;
using Settings::Value;
using Shared::Exception::Win32Exception;

class ValuesTest : public AppSettingsTests::SettingsTest
{
protected:
    ValuesTest()
    {
        LayOut();
    }
};

TEST_F(ValuesTest, AValueIsReadFromItsKeyUnderItsName)
{
    SetConfig(L"ConnectTimeout", 7);
    SetVpn(L"machine-id", L"machine");
    EXPECT_EQ(Settings::ReadNumber(Value::ConnectTimeout), 7U);
    EXPECT_EQ(Settings::RequireNumber(Value::ConnectTimeout), 7U);
    EXPECT_EQ(Settings::TryReadText(Value::MachineId), L"machine");
    EXPECT_EQ(Settings::ReadText(Value::MachineId), L"machine");
    EXPECT_EQ(Settings::RequireText(Value::MachineId), L"machine");
}

TEST_F(ValuesTest, AMissingValueHasTheTablesDefaultOrNothing)
{
    EXPECT_EQ(Settings::ReadNumber(Value::ConnectTimeout), 60U);
    EXPECT_EQ(Settings::ReadNumber(Value::AutoUpdate), 0U) << "the table has none";
    EXPECT_EQ(Settings::ReadText(Value::LogTarget), L"filesystem");
    EXPECT_EQ(Settings::ReadText(Value::TargetVersion), L"") << "the table has none";
    EXPECT_EQ(Settings::TryReadText(Value::LogTarget), std::nullopt);
}

TEST_F(ValuesTest, AnEmptyTextIsNotAMissingOne)
{
    SetConfig(L"LogTarget", L"");
    EXPECT_EQ(Settings::TryReadText(Value::LogTarget), L"");
    EXPECT_EQ(Settings::ReadText(Value::LogTarget), L"");
}

TEST_F(ValuesTest, WhatMustBeThereIsAFailureThatNamesTheValueWhereItIsNot)
{
    EXPECT_EQ(
        TestSupport::Win32Text([] { (void)Settings::RequireText(Value::VpnCurrentVersion); }),
        "Cannot read string from registry; key: 0X80000002; subkey: SOFTWARE\\Tarvane\\Norvik\\TvnSetup; value name: "
        "CurrentVersion");
    EXPECT_EQ(
        TestSupport::Win32Text([] { (void)Settings::RequireNumber(Value::AccountId); }),
        "Cannot read DWORD from registry; key: 0X80000002; subkey: SOFTWARE\\Tarvane\\VEL\\Config; value name: "
        "AccountID");
}

TEST_F(ValuesTest, WritingAndDeletingAreSeenByReading)
{
    Settings::Write(Value::TargetVersion, L"9.9");
    Settings::Write(Value::AutoUpdate, 1);
    EXPECT_EQ(Settings::ReadText(Value::TargetVersion), L"9.9");
    EXPECT_EQ(Settings::ReadNumber(Value::AutoUpdate), 1U);
    Settings::Delete(Value::AutoUpdate);
    Settings::Delete(Value::AutoUpdate);
    EXPECT_THROW((void)Settings::RequireNumber(Value::AutoUpdate), Win32Exception);
}

TEST_F(ValuesTest, WritingToAMissingKeyIsAFailure)
{
    EXPECT_THROW(Settings::Write(Value::MachineGuid, L"guid"), Win32Exception);
}

TEST_F(ValuesTest, AnEncipheredTextComesBackWithItsKeyAlone)
{
    const std::wstring plain = L"subtenant \u00e4\u65e5\U0001F600";
    Settings::WriteEnciphered(Value::RegisteredId, plain, m_key);
    const std::wstring stored = Settings::RequireText(Value::RegisteredId);
    EXPECT_EQ(stored.find(L"subtenant"), std::wstring::npos);
    EXPECT_EQ(Settings::Decipher(stored, m_key).GetView(), plain);
    EXPECT_THROW(
        (void)Settings::Decipher(stored, Shared::Crypto::SensitiveString(L"another key")),
        Shared::Exception::NtStatusException);
    EXPECT_EQ(
        TestSupport::RuntimeText([&] { (void)Settings::Decipher(L"no base64!", m_key); }),
        "CryptStringToBinaryA failed");
}

} // namespace
