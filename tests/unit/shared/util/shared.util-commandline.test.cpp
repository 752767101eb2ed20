#include "shared.util-commandline.hpp"

#include "test.support-exceptions.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

using Shared::Util::Paste;
using Shared::Util::SplitCommandLine;
using TestSupport::RuntimeText;
using Arguments = std::vector<std::wstring>;

// --- Paste

TEST(PasteTest, NoArgumentsGiveAnEmptyLine)
{
    EXPECT_EQ(Paste({}), L"");
}

TEST(PasteTest, PlainArgumentsStandAsTheyAre)
{
    EXPECT_EQ(Paste({L"bin\\curl", L"-w", L"%{json}", L"a\\b"}), L"bin\\curl -w %{json} a\\b");
}

TEST(PasteTest, AProgramWithWhiteSpaceIsQuoted)
{
    EXPECT_EQ(Paste({L"C:\\a b\\tool"}), L"\"C:\\a b\\tool\"");
    EXPECT_EQ(Paste({L"a\tb"}), L"\"a\tb\"");
    EXPECT_EQ(Paste({L"a\nb"}), L"\"a\nb\"");
}

TEST(PasteTest, AnEmptyProgramIsQuoted)
{
    EXPECT_EQ(Paste({L""}), L"\"\"");
}

TEST(PasteTest, BackslashesOfAProgramAreNoEscapes)
{
    EXPECT_EQ(Paste({L"C:\\a b\\"}), L"\"C:\\a b\\\"");
}

TEST(PasteTest, AProgramWithAQuoteIsRefused)
{
    EXPECT_EQ(RuntimeText([] { (void)Paste({L"a\"b"}); }), "The argv[0] argument cannot include a double quote.");
    EXPECT_EQ(RuntimeText([] { (void)Paste({L"\"", L"x"}); }), "The argv[0] argument cannot include a double quote.");
}

TEST(PasteTest, ArgumentsAreQuotedWhereTheyMustBe)
{
    EXPECT_EQ(Paste({L"t", L""}), L"t \"\"");
    EXPECT_EQ(Paste({L"t", L"a b"}), L"t \"a b\"");
    EXPECT_EQ(Paste({L"t", L"a\tb"}), L"t \"a\tb\"");
    EXPECT_EQ(Paste({L"t", L"a\"b"}), L"t \"a\\\"b\"");
}

TEST(PasteTest, BackslashesAreDoubledOnlyInFrontOfAQuote)
{
    EXPECT_EQ(Paste({L"t", L"a\\b c"}), L"t \"a\\b c\"");
    EXPECT_EQ(Paste({L"t", L"a b\\"}), L"t \"a b\\\\\"");
    EXPECT_EQ(Paste({L"t", L"a b\\\\"}), L"t \"a b\\\\\\\\\"");
    EXPECT_EQ(Paste({L"t", L"a\\\"b"}), L"t \"a\\\\\\\"b\"");
    EXPECT_EQ(Paste({L"t", L"a\\"}), L"t a\\");
}

// --- SplitCommandLine

TEST(SplitCommandLineTest, AnEmptyLineHasNoArguments)
{
    EXPECT_EQ(SplitCommandLine(L""), Arguments{});
}

TEST(SplitCommandLineTest, BlanksAndTabsSeparate)
{
    EXPECT_EQ(SplitCommandLine(L"a b\tc  \t d "), (Arguments{L"a", L"b", L"c", L"d"}));
}

TEST(SplitCommandLineTest, ALineWithoutAProgramNameGivesItsFirstWordForOne)
{
    EXPECT_EQ(SplitCommandLine(L"-s host -p one"), (Arguments{L"-s", L"host", L"-p", L"one"}));
}

TEST(SplitCommandLineTest, ALeadingBlankEndsAnEmptyProgram)
{
    EXPECT_EQ(SplitCommandLine(L" a"), (Arguments{L"", L"a"}));
}

TEST(SplitCommandLineTest, TheProgramKnowsNoEscapes)
{
    EXPECT_EQ(SplitCommandLine(L"\"C:\\a b\\\" c"), (Arguments{L"C:\\a b\\", L"c"}));
    EXPECT_EQ(SplitCommandLine(L"a\" \"b c"), (Arguments{L"a b", L"c"}));
}

TEST(SplitCommandLineTest, QuotesHoldArgumentsTogether)
{
    EXPECT_EQ(SplitCommandLine(L"t \"a b\" c\"d e\"f \"\""), (Arguments{L"t", L"a b", L"cd ef", L""}));
    EXPECT_EQ(SplitCommandLine(L"t \"open to the end"), (Arguments{L"t", L"open to the end"}));
}

TEST(SplitCommandLineTest, BackslashesCountHalfInFrontOfAQuoteAndAnOddOneEscapesIt)
{
    EXPECT_EQ(SplitCommandLine(L"t a\\b\\\\c"), (Arguments{L"t", L"a\\b\\\\c"}));
    EXPECT_EQ(SplitCommandLine(L"t a\\\"b"), (Arguments{L"t", L"a\"b"}));
    EXPECT_EQ(SplitCommandLine(L"t \"a\\\\\" b"), (Arguments{L"t", L"a\\", L"b"}));
    EXPECT_EQ(SplitCommandLine(L"t a\\\\\\\"b"), (Arguments{L"t", L"a\\\"b"}));
    EXPECT_EQ(SplitCommandLine(L"t a\\"), (Arguments{L"t", L"a\\"}));
    EXPECT_EQ(SplitCommandLine(L"t \\ a"), (Arguments{L"t", L"\\", L"a"}));
}

TEST(SplitCommandLineTest, TwoQuotesInsideOfAQuotedPartAreOne)
{
    EXPECT_EQ(SplitCommandLine(L"t \"a\"\"b c\""), (Arguments{L"t", L"a\"b c"}));
}

TEST(SplitCommandLineTest, WhatWasPastedComesBack)
{
    const std::vector<Arguments> cases = {
        {L"tool"},
        {L"a tool", L"two words", L"", L"x"},
        {L"", L"\""},
        {L"t", L"\\", L"\\\\", L"a b\\", L"\\\"", L"\"\"", L"\" \"", L"\\\\ \\\\\" \\"},
        {L"\u4e2d\u6587", L"gr\u00fc\u00dfe", L"line\nend", L"\v\f\r"},
    };
    for (const Arguments& arguments : cases)
    {
        EXPECT_EQ(SplitCommandLine(Paste(arguments)), arguments);
    }
}
