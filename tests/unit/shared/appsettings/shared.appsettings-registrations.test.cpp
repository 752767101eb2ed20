#include "shared.appsettings-registrations.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.winreg-functions.hpp"
#include "test.appsettings-fixture.hpp"

#include <string>
#include <vector>

namespace
{

namespace Settings = Shared::AppSettings;
namespace WinReg = Shared::WinReg;
using Settings::RegistrationInfo;
using Settings::SettingsKey;
using Shared::Crypto::SensitiveString;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using namespace std::string_literals;

bool AreEqual(const RegistrationInfo& info, std::uint32_t account, const std::wstring& agent, const std::wstring& id)
{
    return info.accountId == account && info.agentUuid == agent && info.subtenantId == id;
}

bool IsEmpty(const RegistrationInfo& info)
{
    return AreEqual(info, 0, L"", L"");
}

class RegistrationsTest : public AppSettingsTests::SettingsTest
{
protected:
    RegistrationsTest()
    {
        LayOut();
    }

    void SetList(const std::string& plain) const
    {
        SetConfig(L"Registrations", Encipher(plain));
    }

    std::wstring List() const
    {
        return std::wstring(Settings::GetRegistrations(m_key).GetView());
    }

    static bool Has(const wchar_t* name)
    {
        std::wstring text;
        std::uint32_t number = 0;
        return WinReg::TryGetStringValue(WinReg::Root::LocalMachine, Settings::Paths::Config, name, text) ||
            WinReg::TryGetDwordValue(WinReg::Root::LocalMachine, Settings::Paths::Config, name, number);
    }

    static std::wstring Text(const wchar_t* name)
    {
        return WinReg::GetStringValue(WinReg::Root::LocalMachine, Settings::Paths::Config, name);
    }
};

constexpr const char* TwoRecords =
    "subtenant-id=S1,account-id=4,agent-uuid=A1;subtenant-id=S2,account-id=5,agent-uuid=A2;";
constexpr const wchar_t* WideTwoRecords =
    L"subtenant-id=S1,account-id=4,agent-uuid=A1;subtenant-id=S2,account-id=5,agent-uuid=A2;";

TEST_F(RegistrationsTest, TheRegisteredIdIsWrittenEncipheredAndComesBack)
{
    Settings::SetRegisteredSubtenantId(L"S1 \u65e5", m_key);
    EXPECT_EQ(Settings::GetRegisteredSubtenantId(m_key), L"S1 \u65e5");
    EXPECT_EQ(Text(L"RegisteredId").find(L"S1"), std::wstring::npos);
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(RegistrationsTest, NoRegisteredIdIsToldAndEmpty)
{
    EXPECT_EQ(Settings::GetRegisteredSubtenantId(m_key), L"");
    SetConfig(L"RegisteredId", L"");
    EXPECT_EQ(Settings::GetRegisteredSubtenantId(m_key), L"");
    EXPECT_EQ(m_log.Count(Level::Info, "No RegisteredId found"), 2U);
    EXPECT_EQ(m_log.Lines().size(), 2U);
}

TEST_F(RegistrationsTest, ARegisteredIdThatDoesNotOpenIsAWarningAndEmpty)
{
    SetConfig(L"RegisteredId", Encipher("S1", "the key of another machine"));
    EXPECT_EQ(Settings::GetRegisteredSubtenantId(m_key), L"");
    EXPECT_EQ(m_log.Count(Level::Warning, "GetRegisteredSubtenantId() failed: Exception in function "), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "BCryptDecrypt failed"), 1U);
    SetConfig(L"RegisteredId", L"!");
    EXPECT_EQ(Settings::GetRegisteredSubtenantId(m_key), L"");
    EXPECT_EQ(m_log.Count(Level::Warning, "CryptStringToBinaryA failed"), 1U);
}

TEST_F(RegistrationsTest, TheAgentUuidIsReadOrAWarningAndEmpty)
{
    std::wstring uuid = L"before";
    EXPECT_FALSE(Settings::GetAgentUuid(uuid));
    EXPECT_EQ(uuid, L"");
    EXPECT_EQ(m_log.Count(Level::Warning, "GetAgentUuid() failed, the value probably doesn't exist"), 1U);
    SetConfig(L"AgentUUID", L"A1");
    EXPECT_TRUE(Settings::GetAgentUuid(uuid));
    EXPECT_EQ(uuid, L"A1");
}

TEST_F(RegistrationsTest, TheAccountMustBeThereForWhoeverAsksForIt)
{
    EXPECT_THROW((void)Settings::GetAccountId(), Win32Exception);
    SetConfig(L"AccountID", 4);
    EXPECT_EQ(Settings::GetAccountId(), 4U);
}

TEST_F(RegistrationsTest, ThePresentIdentityIsReadFromItsThreeValues)
{
    SetConfig(L"AgentUUID", L"A1");
    SetConfig(L"AccountID", 4);
    SetConfig(L"RegisteredId", Encipher("S1"));
    RegistrationInfo info;
    EXPECT_TRUE(Settings::GetCurrentRegistrationInfo(m_key, info));
    EXPECT_TRUE(AreEqual(info, 4, L"A1", L"S1"));
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(RegistrationsTest, APresentIdentityWithoutUuidOrAccountIsAnEmptyOne)
{
    const char* const warning = "GetCurrentRegistrationInfo() failed, the value probably doesn't exist";
    RegistrationInfo info{7, L"before", L"before"};
    SetConfig(L"AgentUUID", L"A1");
    EXPECT_FALSE(Settings::GetCurrentRegistrationInfo(m_key, info));
    EXPECT_TRUE(IsEmpty(info));
    EXPECT_EQ(m_log.Count(Level::Warning, warning), 1U);
    SetConfig(L"AccountID", 4);
    Delete(SettingsKey::Config, L"AgentUUID");
    EXPECT_FALSE(Settings::GetCurrentRegistrationInfo(m_key, info));
    EXPECT_TRUE(IsEmpty(info));
    EXPECT_EQ(m_log.Count(Level::Warning, warning), 2U);
}

TEST_F(RegistrationsTest, APresentIdentityWithoutSubtenantHasTheOtherTwo)
{
    SetConfig(L"AgentUUID", L"A1");
    SetConfig(L"AccountID", 4);
    RegistrationInfo info;
    EXPECT_TRUE(Settings::GetCurrentRegistrationInfo(m_key, info));
    EXPECT_TRUE(AreEqual(info, 4, L"A1", L""));
}

TEST_F(RegistrationsTest, SavingWritesTheServerAsItWasGiven)
{
    Settings::AppSettings settings;
    settings.accountId = 4;
    settings.agentUuid = L"A1";
    settings.serverRaw = L"https://cloud.example:8443";
    settings.server = L"cloud.example";
    Settings::SaveRegistration(settings);
    EXPECT_EQ(Text(L"AgentUUID"), L"A1");
    EXPECT_EQ(Text(L"Server"), L"https://cloud.example:8443");
    EXPECT_EQ(Text(L"ServerOverride"), L"https://cloud.example:8443");
    EXPECT_EQ(Settings::GetAccountId(), 4U);
}

TEST_F(RegistrationsTest, DeletingLeavesNothingOfTheIdentityAndCanBeRepeated)
{
    SetConfig(L"AgentUUID", L"A1");
    SetConfig(L"AccountID", 4);
    SetConfig(L"RegisteredId", Encipher("S1"));
    SetList(TwoRecords);
    Settings::DeleteRegistration();
    Settings::DeleteRegistration();
    EXPECT_FALSE(Has(L"AgentUUID"));
    EXPECT_FALSE(Has(L"AccountID"));
    EXPECT_FALSE(Has(L"RegisteredId"));
    EXPECT_TRUE(Has(L"Registrations"));
    EXPECT_TRUE(Has(L"Server"));
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(RegistrationsTest, TheListIsOpenedWithTheKey)
{
    SetList(TwoRecords);
    EXPECT_EQ(List(), WideTwoRecords);
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(RegistrationsTest, NoListIsToldAndEmpty)
{
    EXPECT_EQ(List(), L"");
    SetConfig(L"Registrations", L"");
    EXPECT_EQ(List(), L"");
    EXPECT_EQ(m_log.Count(Level::Info, "No Registrations found"), 2U);
}

TEST_F(RegistrationsTest, AListOfAnotherMachineIsAWarningAndCountsAsEmpty)
{
    const std::wstring enciphered = Encipher(TwoRecords, "the key of another machine");
    SetConfig(L"Registrations", enciphered);
    EXPECT_EQ(List(), L"");
    EXPECT_EQ(
        m_log.Count(
            Level::Warning,
            "Registrations value " + std::string(enciphered.begin(), enciphered.end()) +
                " could not be decrypted: Exception in function "),
        1U);
    EXPECT_TRUE(IsEmpty(Settings::FindRegistration(L"S1", m_key)));
}

TEST_F(RegistrationsTest, ARecordIsReadFromItsThreeAttributesInAnyOrder)
{
    const auto registrations =
        Settings::ParseRegistrations(L"agent-uuid=A1,subtenant-id=S1,account-id=4;account-id=4294967295,agent-uuid=A2,"
                                     L"subtenant-id=S2");
    ASSERT_EQ(registrations.size(), 2U);
    EXPECT_TRUE(AreEqual(registrations[0], 4, L"A1", L"S1"));
    EXPECT_TRUE(AreEqual(registrations[1], 4294967295U, L"A2", L"S2"));
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(RegistrationsTest, AnIncompleteRecordIsLeftOut)
{
    for (const wchar_t* text :
         {L"", L";", L";;;;", L"account-id=4,agent-uuid=A1;", L"subtenant-id=S1,agent-uuid=A1;",
          L"subtenant-id=S1,account-id=4;", L"subtenant-id=,account-id=4,agent-uuid=A1;",
          L"subtenant-id=S1,account-id=0,agent-uuid=A1;"})
    {
        EXPECT_TRUE(Settings::ParseRegistrations(text).empty()) << text;
    }
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(RegistrationsTest, AnAccountThatIsNoNumberIsNone)
{
    for (const wchar_t* text :
         {L"x", L"", L"-1", L"+4", L" 4", L"4x", L"0x4", L"4294967296", L"99999999999999999999",
          L"18446744073709551620", L"\uFF14"})
    {
        const std::wstring record = L"subtenant-id=S1,account-id="s + text + L",agent-uuid=A1;";
        EXPECT_TRUE(Settings::ParseRegistrations(record).empty()) << text;
    }
    EXPECT_EQ(Settings::ParseRegistrations(L"subtenant-id=S1,account-id=0004,agent-uuid=A1;").at(0).accountId, 4U);
}

TEST_F(RegistrationsTest, AnAttributeWithoutOneEqualsSignIsPassedOverWithAWarning)
{
    const auto registrations = Settings::ParseRegistrations(L"junk,subtenant-id=S1,account-id=4,a=b=c,agent-uuid=A1,;");
    ASSERT_EQ(registrations.size(), 1U);
    EXPECT_TRUE(AreEqual(registrations[0], 4, L"A1", L"S1"));
    EXPECT_EQ(m_log.Count(Level::Warning, "Unexpected tokenised size for registration component: 1"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Unexpected tokenised size for registration component: 3"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Unexpected tokenised size for registration component: 0"), 1U);
}

TEST_F(RegistrationsTest, AnAttributeOfAnotherNameIsNamedInAWarningUnlessItHasNone)
{
    EXPECT_EQ(
        Settings::ParseRegistrations(L"colour=red,=nothing,Subtenant-Id=S,subtenant-id=S1,account-id=4,agent-uuid=A1")
            .size(),
        1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Couldn't parse attribute: colour"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Couldn't parse attribute: Subtenant-Id"), 1U);
    EXPECT_EQ(m_log.Lines().size(), 2U);
    EXPECT_EQ(m_log.Count(Level::Warning, "red"), 0U);
}

TEST_F(RegistrationsTest, NullCharactersAndOtherLettersStayInTheirAttributes)
{
    const auto registrations =
        Settings::ParseRegistrations(L"subtenant-id=S\0\u65e5,account-id=4,agent-uuid=\U0001F600;"s);
    ASSERT_EQ(registrations.size(), 1U);
    EXPECT_TRUE(AreEqual(registrations[0], 4, L"\U0001F600", L"S\0\u65e5"s));
}

TEST_F(RegistrationsTest, RecordsAreWrittenInTheirFixedOrder)
{
    const SensitiveString text = Settings::SerialiseRegistrations({{4, L"A1", L"S1"}, {5, L"A2", L"S2"}});
    EXPECT_EQ(text.GetView(), WideTwoRecords);
    EXPECT_TRUE(Settings::SerialiseRegistrations({}).IsEmpty());
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(RegistrationsTest, AnIncompleteRecordIsNotWrittenAndTheLogSaysSo)
{
    const SensitiveString text =
        Settings::SerialiseRegistrations({{0, L"A0", L"S0"}, {4, L"A1", L"S1"}, {5, L"", L"S2"}, {6, L"A3", L""}});
    EXPECT_EQ(text.GetView(), L"subtenant-id=S1,account-id=4,agent-uuid=A1;");
    const std::string start = "Ignored converting a RegistrationInfo with missing values. ";
    EXPECT_EQ(m_log.Count(Level::Warning, start + "AccountId: 0, AgentUuid: A0, SubtenantId: S0"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, start + "AccountId: 5, AgentUuid: , SubtenantId: S2"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, start + "AccountId: 6, AgentUuid: A3, SubtenantId: "), 1U);
}

TEST_F(RegistrationsTest, TheFirstRecordWithExactlyTheSubtenantIsFound)
{
    SetList(
        "subtenant-id=S11,account-id=3,agent-uuid=A0;"s + TwoRecords + "subtenant-id=S1,account-id=9,agent-uuid=A9;");
    EXPECT_TRUE(AreEqual(Settings::FindRegistration(L"S1", m_key), 4, L"A1", L"S1"));
    EXPECT_TRUE(IsEmpty(Settings::FindRegistration(L"s1", m_key)));
    EXPECT_TRUE(IsEmpty(Settings::FindRegistration(L"S", m_key)));
    EXPECT_TRUE(IsEmpty(Settings::FindRegistration(L"S1\0"s, m_key)));
}

TEST_F(RegistrationsTest, AnEmptySubtenantIsFoundWithoutReading)
{
    EXPECT_TRUE(IsEmpty(Settings::FindRegistration(L"", m_key)));
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(RegistrationsTest, RemovingTakesTheFirstMatchAloneAndKeepsTheOrder)
{
    SetList(TwoRecords + "subtenant-id=S1,account-id=9,agent-uuid=A9;"s);
    Settings::RemoveRegistration(L"S1", m_key);
    EXPECT_EQ(List(), L"subtenant-id=S2,account-id=5,agent-uuid=A2;subtenant-id=S1,account-id=9,agent-uuid=A9;");
    Settings::RemoveRegistration(L"S1", m_key);
    Settings::RemoveRegistration(L"S2", m_key);
    EXPECT_EQ(List(), L"");
    EXPECT_FALSE(Text(L"Registrations").empty()) << "an empty list is enciphered too";
    EXPECT_EQ(m_log.Count(Level::Info, "No Registrations found"), 0U);
}

TEST_F(RegistrationsTest, RemovingWhatIsNotThereWritesTheListBackWithoutItsDamage)
{
    SetList("subtenant-id=S0,account-id=3;junk;"s + TwoRecords);
    Settings::RemoveRegistration(L"another", m_key);
    EXPECT_EQ(List(), WideTwoRecords) << "a record without its agent disappears on the next rewrite";
}

TEST_F(RegistrationsTest, RemovingFromAListThatDoesNotOpenStartsAnEmptyOne)
{
    SetConfig(L"Registrations", L"no base64!");
    Settings::RemoveRegistration(L"S1", m_key);
    EXPECT_EQ(List(), L"");
    EXPECT_EQ(m_log.Count(Level::Warning, "could not be decrypted"), 1U);
}

TEST_F(RegistrationsTest, AListOfManyRecordsIsReadAndWritten)
{
    std::string list;
    for (int i = 1; i <= 5000; ++i)
    {
        list += "subtenant-id=S" + std::to_string(i) + ",account-id=" + std::to_string(i) + ",agent-uuid=A;";
    }
    SetList(list);
    EXPECT_EQ(Settings::FindRegistration(L"S5000", m_key).accountId, 5000U);
    Settings::RemoveRegistration(L"S5000", m_key);
    EXPECT_TRUE(IsEmpty(Settings::FindRegistration(L"S5000", m_key)));
    EXPECT_EQ(Settings::FindRegistration(L"S4999", m_key).accountId, 4999U);
}

} // namespace
