#include "tools.shared-printable.hpp"

#include <gtest/gtest.h>

namespace
{

using Tools::Printable;

TEST(PrintableTest, ControlCharactersAreShownByTheirNumbers)
{
    EXPECT_EQ(Printable("a\x1B[31mb"), "a\\x1B[31mb");
    EXPECT_EQ(
        Printable("a\xC2\x9B"
                  "b"),
        "a\\x9B"
        "b");
    EXPECT_EQ(Printable("a\x7F\r\n"), "a\\x7F\\x0D\\x0A");
}

TEST(PrintableTest, EverythingElseStaysAsItIs)
{
    EXPECT_EQ(
        Printable("Gr\xC3\xBC\xC3\x9F"
                  "e \xC2\xA0"),
        "Gr\xC3\xBC\xC3\x9F"
        "e \xC2\xA0");
    EXPECT_EQ(Printable(""), "");
}

TEST(PrintableTest, BytesThatAreNoUtf8AreLeftOut)
{
    EXPECT_EQ(Printable("a\xFF\xC2"), "a");
}

} // namespace
