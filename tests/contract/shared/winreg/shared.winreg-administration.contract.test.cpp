#include <vector>

#include "contract.registry.hpp"

using namespace Shared::WinReg;

namespace
{

class RegistryAdministrationContract : public RegistryContract
{
};

std::vector<std::wstring> NamesOf(const std::vector<RegistryValue>& values)
{
    std::vector<std::wstring> names;
    for (const auto& value : values)
    {
        names.push_back(value.name);
    }
    return names;
}

} // namespace

TEST_F(RegistryAdministrationContract, CreatingAKeyCreatesThoseAboveIt)
{
    CreateKey(Machine, L"One\\Two\\Three");
    EXPECT_NO_THROW(OpenKey(Machine, L"One"));
    EXPECT_NO_THROW(OpenKey(Machine, L"One\\Two"));
    EXPECT_NO_THROW(OpenKey(Machine, L"One\\Two\\Three"));
    EXPECT_THROW(OpenKey(Machine, L"Two"), Shared::Exception::Win32Exception);
}

TEST_F(RegistryAdministrationContract, CreatingAnExistingKeyKeepsItsValues)
{
    SetDwordValue(Machine, Key, L"value", 4);
    CreateKey(Machine, Key);
    CreateKey(Machine, L"software\\tarvane\\vel");
    EXPECT_EQ(GetDwordValue(Machine, Key, L"value"), 4U);
    EXPECT_EQ(EnumerateKeys(Machine, L"SOFTWARE\\Tarvane"), std::vector<std::wstring>{L"VEL"});
}

TEST_F(RegistryAdministrationContract, ADeletedKeyTakesEverythingBelowWithItAndNothingBeside)
{
    CreateKey(Machine, Key + L"\\Config\\Deep");
    CreateKey(Machine, Key + L"X");
    SetDwordValue(Machine, Key + L"\\Config\\Deep", L"value", 1);
    SetDwordValue(Machine, Key + L"X", L"value", 2);
    EXPECT_TRUE(DeleteKeyTree(Machine, Key));
    EXPECT_EQ(EnumerateKeys(Machine, L"SOFTWARE\\Tarvane"), std::vector<std::wstring>{L"VELX"});
    EXPECT_EQ(GetDwordValue(Machine, Key + L"X", L"value"), 2U);

    CreateKey(Machine, Key + L"\\Config\\Deep");
    EXPECT_TRUE(EnumerateValues(Machine, Key + L"\\Config\\Deep").empty());
}

TEST_F(RegistryAdministrationContract, DeletingAMissingKeyGivesFalse)
{
    EXPECT_FALSE(DeleteKeyTree(Machine, L"SOFTWARE\\Nothing"));
}

TEST_F(RegistryAdministrationContract, TheRootIsNotDeleted)
{
    EXPECT_TRUE(TextOfFailure([] { DeleteKeyTree(Machine, L""); })
                    .starts_with("Failed to delete registry key; key: 0X80000002; subkey: ; value name:  --> "));
    EXPECT_NO_THROW(OpenKey(Machine, Key));
}

TEST_F(RegistryAdministrationContract, ValuesAreListedByNameWithTypeAndData)
{
    SetStringValue(Machine, Key, L"status", L"enabled");
    SetDwordValue(Machine, Key, L"AccountID", 12);
    SetStringValue(Machine, Key, L"Empty", L"");
    const auto values = EnumerateValues(Machine, L"software\\tarvane\\vel");
    ASSERT_EQ(NamesOf(values), (std::vector<std::wstring>{L"AccountID", L"Empty", L"status"}));
    EXPECT_EQ(values[0].type, TypeDword);
    EXPECT_EQ(values[0].number, 12U);
    EXPECT_EQ(values[1].type, TypeString);
    EXPECT_EQ(values[1].text, L"");
    EXPECT_EQ(values[2].type, TypeString);
    EXPECT_EQ(values[2].text, L"enabled");
}

TEST_F(RegistryAdministrationContract, OnlyKeysDirectlyBelowAreListed)
{
    CreateKey(Machine, Key + L"\\b\\deep");
    CreateKey(Machine, Key + L"\\a");
    CreateKey(Machine, Key + L"\\C");
    CreateKey(Machine, Key + L"2");
    EXPECT_EQ(EnumerateKeys(Machine, Key), (std::vector<std::wstring>{L"a", L"b", L"C"}));
}

TEST_F(RegistryAdministrationContract, ThePathOfTheRootIsEmpty)
{
    CreateKey(Machine, L"Another\\Key");
    EXPECT_EQ(EnumerateKeys(Machine, L""), (std::vector<std::wstring>{L"Another", L"SOFTWARE"}));
    EXPECT_NO_THROW(OpenKey(Machine, L""));
}

TEST_F(RegistryAdministrationContract, ListingAMissingKeyIsTold)
{
    EXPECT_TRUE(
        TextOfFailure([] { EnumerateValues(Machine, L"Nothing"); })
            .starts_with("Failed to enumerate registry values; key: 0X80000002; subkey: Nothing; value name: "));
    EXPECT_TRUE(TextOfFailure([] { EnumerateKeys(Machine, L"Nothing"); })
                    .starts_with("Failed to enumerate registry keys; key: 0X80000002; subkey: Nothing; value name: "));
}
