#include "shared.appsettings-table.hpp"

#include "shared.util-time.hpp"

#include <set>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace
{

using namespace Shared::AppSettings;

TEST(SettingsTableTest, NoValueStandsThereTwice)
{
    std::set<std::pair<SettingsKey, std::wstring>> seen;
    for (const Setting& row : Table)
    {
        EXPECT_TRUE(seen.emplace(row.key, row.name).second) << row.meaning;
    }
}

TEST(SettingsTableTest, EveryRowSaysWhoReadsAndWritesItAndWhatItMeans)
{
    for (const Setting& row : Table)
    {
        EXPECT_GT(std::char_traits<wchar_t>::length(row.name), 0U);
        EXPECT_GT(std::string(row.reader).size(), 3U) << row.meaning;
        EXPECT_GT(std::string(row.writer).size(), 3U) << row.meaning;
        EXPECT_EQ(std::string(row.meaning).back(), '.') << row.meaning;
    }
}

TEST(SettingsTableTest, WhatCountsWhereAValueIsMissingIsOfItsType)
{
    for (const Setting& row : Table)
    {
        const bool hasNumber = std::holds_alternative<std::uint32_t>(row.absent);
        const bool hasText = std::holds_alternative<const wchar_t*>(row.absent);
        EXPECT_FALSE(hasNumber && row.type != ValueType::Number) << row.meaning;
        EXPECT_FALSE(hasText && row.type == ValueType::Number) << row.meaning;
        if (hasText && row.type == ValueType::TimeSpan)
        {
            EXPECT_NO_THROW((void)Shared::Util::ParseTimeSpan(std::get<const wchar_t*>(row.absent))) << row.meaning;
        }
    }
}

TEST(SettingsTableTest, NamesFollowTheirKey)
{
    for (const Setting& row : Table)
    {
        const std::wstring name = row.name;
        const bool isHyphenated = name.find_first_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::wstring::npos;
        const bool mustBe = row.key == SettingsKey::Agent || row.key == SettingsKey::VpnVel;
        EXPECT_EQ(isHyphenated, mustBe) << row.meaning;
    }
}

} // namespace
