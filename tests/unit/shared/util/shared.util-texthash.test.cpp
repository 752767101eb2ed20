#include "shared.util-texthash.hpp"

#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Shared::Util::CaseBlindEqual;
using Shared::Util::CaseBlindHash;
using Shared::Util::TextHash;

/// Every text of `length` characters, each of them one of two.
std::vector<std::string> AllOf(char one, char other, std::size_t length)
{
    std::vector<std::string> texts;
    for (std::size_t bits = 0; bits < (std::size_t{1} << length); ++bits)
    {
        std::string text;
        for (std::size_t i = 0; i < length; ++i)
        {
            text += (bits >> i & 1) != 0 ? one : other;
        }
        texts.push_back(text);
    }
    return texts;
}

template <typename Hash>
std::size_t CountHashes(const std::vector<std::string>& texts)
{
    std::set<std::size_t> hashes;
    for (const std::string& text : texts)
    {
        hashes.insert(Hash()(text));
    }
    return hashes.size();
}

TEST(TextHashTest, TheSameTextHasTheSameHashWhereverItLies)
{
    for (std::size_t length = 0; length < 40; ++length)
    {
        const std::string text(length, 'q');
        const std::string around = "qqq" + text + "zzz";
        EXPECT_EQ(TextHash()(text), TextHash()(std::string_view(around).substr(3, length)));
        EXPECT_EQ(CaseBlindHash()(text), CaseBlindHash()(std::string_view(around).substr(3, length)));
    }
}

TEST(TextHashTest, TextsThatDifferHaveHashesThatDiffer)
{
    for (const auto& [one, other] :
         {std::pair('a', 'b'), std::pair('@', '`'), std::pair('[', '{'), std::pair('a', 'A')})
    {
        EXPECT_EQ(CountHashes<TextHash>(AllOf(one, other, 12)), 4096U) << one << other;
    }
    EXPECT_NE(TextHash()(std::string(3, '\0')), TextHash()(std::string(4, '\0')));
}

TEST(TextHashTest, WithoutCaseOnlyLettersFallTogether)
{
    for (int code = 0; code < 256; ++code)
    {
        const auto character = static_cast<char>(code);
        for (int flipped : {code ^ 0x20, code ^ 0x80})
        {
            // Also in the middle of a word, and behind it.
            for (const std::size_t place : {0U, 3U, 7U, 8U})
            {
                std::string first(9, 'x');
                std::string second(9, 'X');
                first[place] = character;
                second[place] = static_cast<char>(flipped);
                EXPECT_EQ(CaseBlindEqual()(first, second), CaseBlindHash()(first) == CaseBlindHash()(second))
                    << code << " at " << place;
            }
        }
    }
    EXPECT_EQ(CountHashes<CaseBlindHash>(AllOf('q', 'Q', 12)), 1U);
    EXPECT_EQ(CountHashes<CaseBlindHash>(AllOf('@', '`', 12)), 4096U);
}

TEST(TextHashTest, SetsAreSearchedWithoutCopies)
{
    const std::unordered_set<std::string, CaseBlindHash, CaseBlindEqual> set = {"Staff", "\u00e4"};
    EXPECT_TRUE(set.contains(std::string_view("sTAFF")));
    EXPECT_TRUE(set.contains(std::string_view("\u00e4")));
    EXPECT_FALSE(set.contains(std::string_view("\u00c4"))) << "only letters of ASCII have two cases";
    EXPECT_FALSE(set.contains(std::string_view("staf")));
}

} // namespace
