#include <gtest/gtest.h>

#include "shared.winreg-path.linux.hpp"

using Shared::WinReg::ToStoredName;
using Shared::WinReg::ToStoredPath;

TEST(StoredPathTest, NamesAreKeptInUtf8WithTheirCase)
{
    EXPECT_EQ(ToStoredName(L"AgentUUID"), "AgentUUID");
    EXPECT_EQ(ToStoredName(L"gr\u00fc\u00df"), "gr\xC3\xBC\xC3\x9F");
    EXPECT_EQ(ToStoredName(L""), "");
}

TEST(StoredPathTest, NamesEndAtTheirFirstNullCharacter)
{
    EXPECT_EQ(ToStoredName(std::wstring(L"one\0two", 7)), "one");
    EXPECT_EQ(ToStoredName(std::wstring(L"\0two", 4)), "");
}

TEST(StoredPathTest, NamesMayEndWithABackslash)
{
    EXPECT_EQ(ToStoredName(L"name\\"), "name\\");
}

TEST(StoredPathTest, PathsLoseTheBackslashesAtTheirEndAlone)
{
    EXPECT_EQ(ToStoredPath(L"a\\b"), "a\\b");
    EXPECT_EQ(ToStoredPath(L"a\\\\b\\\\"), "a\\\\b");
    EXPECT_EQ(ToStoredPath(L"\\a"), "\\a");
    EXPECT_EQ(ToStoredPath(L"\\"), "");
    EXPECT_EQ(ToStoredPath(std::wstring(L"a\\\0b", 4)), "a");
}
