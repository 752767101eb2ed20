#include "shared.util-nullable.hpp"

#include "test.support-exceptions.hpp"

#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

using Shared::Util::Nullable;
using TestSupport::RuntimeText;

TEST(NullableTest, StartsEmpty)
{
    const Nullable<int> value;
    EXPECT_FALSE(value.HasValue());
}

TEST(NullableTest, ReadingWhileEmptyThrows)
{
    const Nullable<int> value;
    EXPECT_EQ(RuntimeText([&] { (void)value.GetValue(); }), "Nullable is null");
}

TEST(NullableTest, TheFailureCarriesThePlaceOfTheCall)
{
    const Nullable<int> value;
    try
    {
        (void)value.GetValue();
        FAIL();
    }
    catch (const Shared::Exception::RuntimeException& exception)
    {
        EXPECT_NE(std::string(exception.what()).find("shared.util-nullable.test.cpp"), std::string::npos);
    }
}

TEST(NullableTest, HoldsWhatItWasGiven)
{
    const Nullable<std::string> value("text");
    EXPECT_TRUE(value.HasValue());
    EXPECT_EQ(value.GetValue(), "text");
}

TEST(NullableTest, ADefaultValueIsAValueToo)
{
    const Nullable<int> zero(0);
    EXPECT_TRUE(zero.HasValue());
    EXPECT_EQ(zero.GetValue(), 0);
    const Nullable<bool> no(false);
    EXPECT_TRUE(no.HasValue());
    EXPECT_FALSE(no.GetValue());
}

TEST(NullableTest, SettingFillsIt)
{
    Nullable<int> value;
    value.SetValue(4);
    EXPECT_EQ(value.GetValue(), 4);
    value.SetValue(5);
    EXPECT_EQ(value.GetValue(), 5);
    value = 6;
    EXPECT_EQ(value.GetValue(), 6);
}

TEST(NullableTest, ResettingEmptiesItAndDropsTheValue)
{
    const auto shared = std::make_shared<int>(1);
    Nullable<std::shared_ptr<int>> value(shared);
    EXPECT_EQ(shared.use_count(), 2);
    value.Reset();
    EXPECT_FALSE(value.HasValue());
    EXPECT_EQ(shared.use_count(), 1);
    EXPECT_EQ(RuntimeText([&] { (void)value.GetValue(); }), "Nullable is null");
}

TEST(NullableTest, CopyingKeepsTheFlag)
{
    const Nullable<int> empty;
    const Nullable<int> full(3);
    EXPECT_FALSE(Nullable<int>(empty).HasValue());
    EXPECT_EQ(Nullable<int>(full).GetValue(), 3);
    Nullable<int> assigned(8);
    assigned = empty;
    EXPECT_FALSE(assigned.HasValue());
    assigned = full;
    EXPECT_EQ(assigned.GetValue(), 3);
    assigned = Nullable<int>();
    EXPECT_FALSE(assigned.HasValue());
}

TEST(NullableTest, EqualityIsThatOfFlagAndValue)
{
    EXPECT_EQ(Nullable<int>(), Nullable<int>());
    EXPECT_EQ(Nullable<int>(2), Nullable<int>(2));
    EXPECT_NE(Nullable<int>(2), Nullable<int>(3));
    EXPECT_NE(Nullable<int>(0), Nullable<int>());
    Nullable<int> emptied(9);
    emptied.Reset();
    EXPECT_EQ(emptied, Nullable<int>());
}
