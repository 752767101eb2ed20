#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "contract.registry.hpp"
#include "shared.exception-errortext.hpp"

using namespace Shared::WinReg;

namespace
{

class RegistryValuesContract : public RegistryContract
{
};

/// The number of "there is no such thing", which is the same on both platforms.
constexpr std::uint32_t NotFound = 2;

std::string WithCode(const std::string& text, std::uint32_t code)
{
    return fmt::format("{} --> {} (error code {:#X})", text, Shared::Exception::TranslateWin32Error(code), code);
}

} // namespace

TEST_F(RegistryValuesContract, AStringIsReadAsItWasWritten)
{
    const std::wstring text = L"https://host.example:8443 \u00e4\u00f6\u00fc \u65e5\u672c \U0001F600";
    SetStringValue(Machine, Key, L"Server", text);
    EXPECT_EQ(GetStringValue(Machine, Key, L"Server"), text);

    std::wstring out = L"before";
    EXPECT_TRUE(TryGetStringValue(Machine, Key, L"Server", out));
    EXPECT_EQ(out, text);
}

TEST_F(RegistryValuesContract, ANumberIsReadAsItWasWritten)
{
    for (const std::uint32_t number : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
    {
        SetDwordValue(Machine, Key, L"AccountID", number);
        EXPECT_EQ(GetDwordValue(Machine, Key, L"AccountID"), number);
        std::uint32_t out = 7;
        EXPECT_TRUE(TryGetDwordValue(Machine, Key, L"AccountID", out));
        EXPECT_EQ(out, number);
    }
}

TEST_F(RegistryValuesContract, WritingReplacesWhatWasThereOfWhateverType)
{
    SetStringValue(Machine, Key, L"value", L"a long text that is to be gone");
    SetStringValue(Machine, Key, L"value", L"short");
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"short");
    SetDwordValue(Machine, Key, L"value", 5);
    EXPECT_EQ(GetDwordValue(Machine, Key, L"value"), 5U);
    SetStringValue(Machine, Key, L"value", L"again");
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"again");
    EXPECT_EQ(EnumerateValues(Machine, Key).size(), 1U);
}

TEST_F(RegistryValuesContract, AStringOfLengthZeroIsRead)
{
    SetStringValue(Machine, Key, L"ServerOverride", L"");
    std::wstring out = L"before";
    EXPECT_TRUE(TryGetStringValue(Machine, Key, L"ServerOverride", out));
    EXPECT_EQ(out, L"");
    EXPECT_EQ(GetStringValue(Machine, Key, L"ServerOverride"), L"");
}

TEST_F(RegistryValuesContract, NullCharactersInsideOfATextBelongToIt)
{
    using namespace std::string_literals;
    const auto text = L"one\0two\0"s;
    SetStringValue(Machine, Key, L"value", text);
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), text);
}

TEST_F(RegistryValuesContract, PathsAndNamesAreComparedWithoutCase)
{
    SetStringValue(Machine, L"software\\TARVANE\\vel", L"STATUS", L"enabled");
    EXPECT_EQ(GetStringValue(Machine, L"Software\\tarvane\\Vel", L"status"), L"enabled");
    SetStringValue(Machine, Key, L"Status", L"disabled");
    EXPECT_EQ(GetStringValue(Machine, Key, L"STATUS"), L"disabled");
    EXPECT_EQ(EnumerateValues(Machine, Key).size(), 1U);
}

TEST_F(RegistryValuesContract, PathsAndNamesEndAtTheirFirstNullCharacter)
{
    using namespace std::string_literals;
    SetDwordValue(Machine, Key + L"\0rest"s, L"value\0rest"s, 3);
    EXPECT_EQ(GetDwordValue(Machine, Key, L"value"), 3U);
}

TEST_F(RegistryValuesContract, ABackslashBehindThePathChangesNothing)
{
    SetDwordValue(Machine, Key, L"value", 3);
    EXPECT_EQ(GetDwordValue(Machine, Key + L"\\", L"value"), 3U);
    EXPECT_NO_THROW(OpenKey(Machine, Key + L"\\"));
}

TEST_F(RegistryValuesContract, AnEmptyNameIsANameToo)
{
    SetStringValue(Machine, Key, L"", L"the default value");
    EXPECT_EQ(GetStringValue(Machine, Key, L""), L"the default value");
    DeleteValue(Machine, Key, L"");
    std::wstring out;
    EXPECT_FALSE(TryGetStringValue(Machine, Key, L"", out));
}

TEST_F(RegistryValuesContract, KeysOfOnePathAreApart)
{
    CreateKey(Machine, Key + L"\\Config");
    SetStringValue(Machine, Key, L"value", L"upper");
    SetStringValue(Machine, Key + L"\\Config", L"value", L"lower");
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"upper");
    EXPECT_EQ(GetStringValue(Machine, Key + L"\\Config", L"value"), L"lower");
}

TEST_F(RegistryValuesContract, AMissingStringIsTold)
{
    const auto read = []
    {
        GetStringValue(Machine, Key, L"nothing");
    };
    EXPECT_EQ(CodeOfFailure(read), NotFound);
    EXPECT_EQ(
        TextOfFailure(read),
        WithCode(
            "Cannot read string from registry; key: 0X80000002; subkey: SOFTWARE\\Tarvane\\VEL; value name: "
            "nothing",
            NotFound));
    std::wstring out = L"before";
    EXPECT_FALSE(TryGetStringValue(Machine, Key, L"nothing", out));
    EXPECT_EQ(out, L"");
}

TEST_F(RegistryValuesContract, TheExceptionNamesTheOperation)
{
    try
    {
        GetStringValue(Machine, Key, L"nothing");
        FAIL() << "no exception";
    }
    catch (const std::exception& failure)
    {
        EXPECT_TRUE(std::string(failure.what()).starts_with("Exception in function GetStringValue() in "))
            << failure.what();
    }
}

TEST_F(RegistryValuesContract, AMissingNumberIsTold)
{
    const auto read = []
    {
        GetDwordValue(Machine, Key, L"nothing");
    };
    EXPECT_EQ(CodeOfFailure(read), NotFound);
    EXPECT_EQ(
        TextOfFailure(read),
        WithCode(
            "Cannot read DWORD from registry; key: 0X80000002; subkey: SOFTWARE\\Tarvane\\VEL; value name: "
            "nothing",
            NotFound));
    std::uint32_t out = 7;
    EXPECT_FALSE(TryGetDwordValue(Machine, Key, L"nothing", out));
    EXPECT_EQ(out, 7U);
}

TEST_F(RegistryValuesContract, AMissingKeyHasNoValues)
{
    const std::wstring missing = L"SOFTWARE\\Tarvane\\Nothing";
    EXPECT_EQ(CodeOfFailure([&] { GetStringValue(Machine, missing, L"value"); }), NotFound);
    EXPECT_EQ(CodeOfFailure([&] { GetDwordValue(Machine, missing, L"value"); }), NotFound);
    std::wstring text = L"before";
    EXPECT_FALSE(TryGetStringValue(Machine, missing, L"value", text));
    EXPECT_EQ(text, L"");
    std::uint32_t number = 7;
    EXPECT_FALSE(TryGetDwordValue(Machine, missing, L"value", number));
}

TEST_F(RegistryValuesContract, AValueOfAnotherTypeIsNotRead)
{
    SetDwordValue(Machine, Key, L"number", 5);
    SetStringValue(Machine, Key, L"text", L"5");
    const auto readText = []
    {
        GetStringValue(Machine, Key, L"number");
    };
    const auto readNumber = []
    {
        GetDwordValue(Machine, Key, L"text");
    };
    EXPECT_NE(CodeOfFailure(readText), 0U);
    EXPECT_NE(CodeOfFailure(readText), NotFound);
    EXPECT_EQ(CodeOfFailure(readText), CodeOfFailure(readNumber));
    std::wstring text = L"before";
    EXPECT_FALSE(TryGetStringValue(Machine, Key, L"number", text));
    EXPECT_EQ(text, L"");
    std::uint32_t number = 7;
    EXPECT_FALSE(TryGetDwordValue(Machine, Key, L"text", number));
    EXPECT_EQ(number, 7U);
}

TEST_F(RegistryValuesContract, WritingCreatesNoKey)
{
    const std::wstring missing = Key + L"\\Config";
    const std::string place = "; key: 0X80000002; subkey: SOFTWARE\\Tarvane\\VEL\\Config; value name: Server";
    EXPECT_EQ(
        TextOfFailure([&] { SetStringValue(Machine, missing, L"Server", L"host"); }),
        WithCode("Failed to open registry key" + place, NotFound));
    EXPECT_EQ(
        TextOfFailure([&] { SetDwordValue(Machine, missing, L"Server", 1); }),
        WithCode("Failed to open registry key" + place, NotFound));
    EXPECT_TRUE(EnumerateKeys(Machine, Key).empty());
}

TEST_F(RegistryValuesContract, ALargeTextIsReadAsItWasWritten)
{
    const std::wstring text(300'000, L'x');
    SetStringValue(Machine, Key, L"Registrations", text);
    EXPECT_EQ(GetStringValue(Machine, Key, L"Registrations"), text);
}

TEST_F(RegistryValuesContract, MoreThanTheLimitIsNotWritten)
{
    SetStringValue(Machine, Key, L"value", L"before");
    const std::wstring text(MaximumValueBytes + 1, L'x');
    EXPECT_TRUE(
        TextOfFailure([&] { SetStringValue(Machine, Key, L"value", text); })
            .starts_with("Failed to write registry key value; key: 0X80000002; subkey: SOFTWARE\\Tarvane\\VEL; value "
                         "name: value --> "));
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"before");
}

TEST_F(RegistryValuesContract, TextThatIsNoUnicodeDoesNoHarm)
{
    std::wstring text = L"a?b";
    text[1] = static_cast<wchar_t>(0xD800);
    SetStringValue(Machine, Key, L"value", text);
    const auto read = GetStringValue(Machine, Key, L"value");
    EXPECT_TRUE(read == text || read == L"ab");

    EXPECT_NO_THROW(SetStringValue(Machine, Key, text, L"by name"));
    EXPECT_EQ(GetStringValue(Machine, Key, text), L"by name");
    EXPECT_EQ(CodeOfFailure([&] { OpenKey(Machine, Key + L"\\" + text); }), NotFound);
}

TEST_F(RegistryValuesContract, ADeletedValueIsGone)
{
    SetStringValue(Machine, Key, L"AgentUUID", L"text");
    SetDwordValue(Machine, Key, L"AccountID", 1);
    DeleteValue(Machine, L"software\\tarvane\\vel", L"agentuuid");
    std::wstring text;
    EXPECT_FALSE(TryGetStringValue(Machine, Key, L"AgentUUID", text));
    EXPECT_EQ(GetDwordValue(Machine, Key, L"AccountID"), 1U);
}

TEST_F(RegistryValuesContract, DeletingWhatIsNotThereIsIgnored)
{
    EXPECT_NO_THROW(DeleteValue(Machine, Key, L"nothing"));
    EXPECT_NO_THROW(DeleteValue(Machine, L"SOFTWARE\\Nothing\\AtAll", L"nothing"));
    EXPECT_TRUE(EnumerateValues(Machine, Key).empty());
}

TEST_F(RegistryValuesContract, AnExistingKeyIsOpened)
{
    const auto key = OpenKey(Machine, L"software\\tarvane");
    EXPECT_FALSE(key.IsNull());
    EXPECT_NE(key.GetRawKey(), nullptr);
}

TEST_F(RegistryValuesContract, OpeningAMissingKeyIsTold)
{
    const auto open = []
    {
        OpenKey(Machine, L"SOFTWARE\\Tarvane\\Ostra Access");
    };
    EXPECT_EQ(
        TextOfFailure(open), WithCode("Failed to open key 0X80000002\\SOFTWARE\\Tarvane\\Ostra Access", NotFound));
    EXPECT_TRUE(EnumerateKeys(Machine, L"SOFTWARE\\Tarvane") == std::vector<std::wstring>{L"VEL"});
}

TEST_F(RegistryValuesContract, TheTextOfAFailureHasMessageRootPathAndName)
{
    EXPECT_EQ(
        TextOfFailure([] { ThrowRegError("A message", Machine, L"a\\path", L"a name", NotFound); }),
        WithCode("A message; key: 0X80000002; subkey: a\\path; value name: a name", NotFound));
}

TEST_F(RegistryValuesContract, ThreadsAtOnceSeeWholeValues)
{
    constexpr int Rounds = 25;
    const std::array<std::wstring, 2> texts = {std::wstring(50, L'a'), std::wstring(4000, L'b')};
    SetStringValue(Machine, Key, L"shared", texts[0]);
    std::atomic<int> faults{0};
    const auto guarded = [&faults](const std::function<void(int)>& round)
    {
        return [&faults, round]
        {
            for (int i = 0; i < Rounds; ++i)
            {
                try
                {
                    round(i);
                }
                catch (const std::exception& failure)
                {
                    ADD_FAILURE() << failure.what();
                    ++faults;
                }
            }
        };
    };
    std::vector<std::thread> threads;
    for (int writer = 0; writer < 2; ++writer)
    {
        threads.emplace_back(guarded(
            [&texts, writer](int round)
            {
                SetStringValue(Machine, Key, L"shared", texts[static_cast<std::size_t>(writer)]);
                SetDwordValue(Machine, Key, L"own" + std::to_wstring(writer), static_cast<std::uint32_t>(round));
            }));
    }
    for (int reader = 0; reader < 3; ++reader)
    {
        threads.emplace_back(guarded(
            [&texts, &faults](int)
            {
                const auto text = GetStringValue(Machine, Key, L"shared");
                faults += text == texts[0] || text == texts[1] ? 0 : 1;
            }));
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(GetDwordValue(Machine, Key, L"own0"), static_cast<std::uint32_t>(Rounds - 1));
    EXPECT_EQ(GetDwordValue(Machine, Key, L"own1"), static_cast<std::uint32_t>(Rounds - 1));
}
