#include "shared.crypto-sha256.hpp"

#include "contract.hex.hpp"

#include <string>

#include <gtest/gtest.h>

namespace
{

using Shared::Crypto::Sha256;

struct Vector
{
    std::string text;
    const char* digest;
};

class Sha256Contract : public testing::TestWithParam<Vector>
{
};

TEST_P(Sha256Contract, GivesTheDigestOfThePublishedVector)
{
    EXPECT_EQ(ToHex(Sha256(GetParam().text).GetDigest()), GetParam().digest);
}

// The examples of FIPS 180: nothing, one block, two blocks, a million characters.
INSTANTIATE_TEST_SUITE_P(
    Fips180,
    Sha256Contract,
    testing::Values(
        Vector{"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        Vector{"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        Vector{
            "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        Vector{
            "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstno"
            "pqrstu",
            "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        Vector{std::string(1'000'000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"}));

TEST(Sha256Test, NullCharactersCountAsTheBytesThatTheyAre)
{
    EXPECT_EQ(
        ToHex(Sha256(std::string_view("\0", 1)).GetDigest()),
        "6e340b9cffb37a989ca544e6bb780a2c78901d3fb33738768511a30617afa01d");
}

TEST(Sha256Test, TheDigestHas32Bytes)
{
    EXPECT_EQ(Sha256("key").GetDigest().size(), 32U);
}

} // namespace
