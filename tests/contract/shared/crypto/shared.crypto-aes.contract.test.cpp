#include "shared.crypto-aes.hpp"

#include "contract.hex.hpp"
#include "shared.crypto-status.hpp"
#include "shared.exception-exceptions.hpp"
#include "test.support-exceptions.hpp"

#include <algorithm>
#include <string>

#include <gmock/gmock.h>

namespace
{

using Shared::Crypto::Aes;
using Shared::Crypto::SensitiveBytes;
using Shared::Exception::NtStatusException;
using testing::HasSubstr;
namespace Status = Shared::Crypto::Status;

SensitiveBytes KeyOf(const char* digits)
{
    const auto bytes = FromHex(digits);
    return {bytes.begin(), bytes.end()};
}

SensitiveBytes AnyKey(std::size_t size = 32)
{
    return SensitiveBytes(size, 0x5A);
}

/// The four blocks of NIST SP 800-38A, its initialisation vector worked into the first: with one of zeros it then gives the
/// published ciphertext.
std::vector<std::uint8_t> PublishedPlainText()
{
    auto plain = FromHex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
                         "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
    for (std::size_t i = 0; i < 16; ++i)
    {
        plain[i] = static_cast<std::uint8_t>(plain[i] ^ i);
    }
    return plain;
}

struct Vector
{
    const char* key;
    const char* cipher;
};

class AesContract : public testing::TestWithParam<Vector>
{
};

TEST_P(AesContract, GivesTheCiphertextOfThePublishedVectorAndOneBlockOfPaddingBehindIt)
{
    const Aes aes(KeyOf(GetParam().key));
    const auto cipher = aes.Encrypt(PublishedPlainText());
    ASSERT_EQ(cipher.size(), 80U);
    EXPECT_EQ(ToHex(cipher).substr(0, 128), GetParam().cipher);
    EXPECT_EQ(ToHex(aes.Decrypt(cipher)), ToHex(PublishedPlainText()));
}

// F.2.5, F.2.3 and F.2.1 of NIST SP 800-38A.
INSTANTIATE_TEST_SUITE_P(
    NistSp80038a,
    AesContract,
    testing::Values(
        Vector{
            "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
            "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
            "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
        Vector{
            "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
            "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a"
            "571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd"},
        Vector{
            "2b7e151628aed2a6abf7158809cf4f3c",
            "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
            "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"}));

TEST(AesTest, HasBlocksOf16BytesAndAVectorOfZeros)
{
    const Aes aes(AnyKey());
    EXPECT_EQ(aes.GetBlockLength(), 16U);
    EXPECT_EQ(aes.GetInitialisationVector(), std::vector<std::uint8_t>(16, 0));
}

TEST(AesTest, EveryLengthMakesTheRoundTripAndIsPaddedToTheNextBlock)
{
    const Aes aes(AnyKey());
    for (std::size_t size = 0; size <= 50; ++size)
    {
        const std::vector<std::uint8_t> plain(size, 0xC3);
        const auto cipher = aes.Encrypt(plain);
        EXPECT_EQ(cipher.size(), (size / 16 + 1) * 16) << size;
        EXPECT_EQ(ToHex(aes.Decrypt(cipher)), ToHex(plain)) << size;
    }
}

TEST(AesTest, AnEmptyPlainTextGivesOneBlock)
{
    const Aes aes(AnyKey());
    const auto cipher = aes.Encrypt({});
    EXPECT_EQ(cipher.size(), 16U);
    EXPECT_TRUE(aes.Decrypt(cipher).empty());
}

TEST(AesTest, AMegabyteMakesTheRoundTrip)
{
    const Aes aes(AnyKey());
    const std::vector<std::uint8_t> plain(1'048'576, 0x17);
    const auto back = aes.Decrypt(aes.Encrypt(plain));
    EXPECT_TRUE(std::equal(back.begin(), back.end(), plain.begin(), plain.end()));
}

TEST(AesTest, TheVectorStaysWhatItIsSoTheSameTextAlwaysGivesTheSame)
{
    const Aes aes(AnyKey());
    const auto first = aes.Encrypt(PublishedPlainText());
    EXPECT_EQ(aes.Encrypt(PublishedPlainText()), first);
    EXPECT_EQ(Aes(AnyKey()).Encrypt(PublishedPlainText()), first);
    EXPECT_EQ(aes.GetInitialisationVector(), std::vector<std::uint8_t>(16, 0));
}

TEST(AesTest, AnEmptyKeyIsRefused)
{
    EXPECT_EQ(TestSupport::RuntimeText([] { const Aes aes({}); }), "aes128Key cannot be empty");
}

TEST(AesTest, AKeyOfAnotherLengthIsRefused)
{
    for (const std::size_t size : {1, 15, 17, 31, 33, 64})
    {
        try
        {
            const Aes aes(AnyKey(size));
            ADD_FAILURE() << "taken: " << size;
        }
        catch (const NtStatusException& exception)
        {
            EXPECT_EQ(exception.GetStatus(), Status::InvalidParameter) << size;
            EXPECT_THAT(exception.what(), HasSubstr(": BCryptGenerateSymmetricKey failed --> "));
        }
    }
}

TEST(AesTest, WhatIsNoWholeNumberOfBlocksDoesNotOpen)
{
    const Aes aes(AnyKey());
    for (const std::size_t size : {0, 1, 15, 17, 31, 33})
    {
        try
        {
            (void)aes.Decrypt(std::vector<std::uint8_t>(size, 0x33));
            ADD_FAILURE() << "opened: " << size;
        }
        catch (const NtStatusException& exception)
        {
            EXPECT_EQ(exception.GetStatus(), Status::InvalidBufferSize) << size;
            EXPECT_THAT(exception.what(), HasSubstr(": BCryptDecrypt failed --> "));
        }
    }
}

TEST(AesTest, DamagedPaddingDoesNotOpen)
{
    const Aes aes(AnyKey());
    auto cipher = aes.Encrypt(std::vector<std::uint8_t>(20, 1));
    // What is changed in one block changes the same bits of the plain text in the next: the last byte of padding, 12, is
    // then none.
    cipher[15] = static_cast<std::uint8_t>(cipher[15] ^ 0x80);
    try
    {
        (void)aes.Decrypt(cipher);
        ADD_FAILURE() << "opened";
    }
    catch (const NtStatusException& exception)
    {
        EXPECT_NE(exception.GetStatus(), 0U);
        EXPECT_THAT(exception.what(), HasSubstr(": BCryptDecrypt failed --> "));
    }
    // And is as good as before afterwards.
    EXPECT_EQ(aes.Decrypt(aes.Encrypt(std::vector<std::uint8_t>(20, 1))).size(), 20U);
}

} // namespace
