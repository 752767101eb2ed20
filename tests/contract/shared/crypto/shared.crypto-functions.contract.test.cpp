#include "shared.crypto-functions.hpp"

#include "contract.hex.hpp"
#include "shared.exception-exceptions.hpp"
#include "test.support-exceptions.hpp"

#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using Shared::Crypto::Decrypt;
using Shared::Crypto::Encrypt;
using Shared::Crypto::ToBase64String;
using Shared::Crypto::ToBinary;
using Shared::Exception::NtStatusException;
using Shared::Exception::RuntimeException;
using testing::HasSubstr;

std::vector<std::uint8_t> BytesOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

/// A value as one build wrote it. Both builds write the same, so that a store can be carried from one to the other.
struct Written
{
    std::string plain;
    std::string key;
    const char* enciphered;
};

class EnciphermentContract : public testing::TestWithParam<Written>
{
};

TEST_P(EnciphermentContract, IsWrittenAsTheOtherBuildWritesIt)
{
    EXPECT_EQ(Encrypt(GetParam().plain, GetParam().key), GetParam().enciphered);
}

TEST_P(EnciphermentContract, OpensWhatTheOtherBuildWrote)
{
    EXPECT_EQ(Decrypt(GetParam().enciphered, GetParam().key).GetView(), GetParam().plain);
}

INSTANTIATE_TEST_SUITE_P(
    Values,
    EnciphermentContract,
    testing::Values(
        Written{
            "username=anna,domain=LAB,tenant-id=T1,sub-tenant-id=S1", "vT4#key of a machine",
            "XNThtLr2gTcf8xTq3CK81o2ZJ1RcwG/dFc73zN2+iAd9Jx9rieJvOjcAqVP5CaD9liRIyXJfKp9tIgyQZoh/7g=="},
        Written{
            "subtenant-id=S1,account-id=4,agent-uuid=A1;", "SN-0815",
            "aEoK2UqXPPdl9a2cruymNehCW7nkuW/BidQImiRnObne1xkY44Z9ivMeovwWNKQX"},
        Written{"", "key", "Pz12b833ffVieHF07pgA0w=="},
        Written{"sixteen bytes...", "", "7l1uX5tpZAyTuVDDxx9bNNUk+t3ZksLmOzK4gOgufFY="},
        Written{
            "\xC3\xA4\xC3\xB6\xC3\xBC \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80", "schl\xC3\xBCssel",
            "ehkXNpeero/4cOl92/RVfe67K4KYFXCD46Vl0cyJjmI="}));

TEST(EncryptTest, AnEmptyTextGivesOneBlockAndComesBack)
{
    const std::string enciphered = Encrypt("", "key");
    EXPECT_EQ(ToBinary(enciphered).size(), 16U);
    EXPECT_TRUE(Decrypt(enciphered, "key").IsEmpty());
}

TEST(EncryptTest, NullCharactersAndAnyBytesMakeTheRoundTrip)
{
    std::string plain;
    for (int i = 0; i < 256; ++i)
    {
        plain.push_back(static_cast<char>(i));
    }
    EXPECT_EQ(Decrypt(Encrypt(plain, plain), plain).GetView(), plain);
}

TEST(EncryptTest, TheTextIsInOneLine)
{
    EXPECT_EQ(Encrypt(std::string(10'000, 'x'), "key").find_first_of("\r\n"), std::string::npos);
}

TEST(DecryptTest, AValueOfAnotherMachineDoesNotOpen)
{
    const std::string enciphered = Encrypt("subtenant", "key of this machine");
    EXPECT_THROW((void)Decrypt(enciphered, "key of another machine"), NtStatusException);
}

TEST(DecryptTest, ManyWrongKeysOpenToRubbishOrNotAtAllAndNeverToTheText)
{
    const std::string enciphered = Encrypt("subtenant", "key");
    int opened = 0;
    for (int i = 0; i < 2000; ++i)
    {
        try
        {
            EXPECT_NE(Decrypt(enciphered, "key " + std::to_string(i)).GetView(), "subtenant");
            ++opened;
        }
        catch (const NtStatusException& exception)
        {
            EXPECT_THAT(exception.what(), HasSubstr("BCryptDecrypt failed"));
        }
    }
    // One of 256 ends like a padding; one of 16 where only its last byte is looked at, as Wine does.
    EXPECT_LT(opened, 250);
}

TEST(DecryptTest, WhatIsNoBase64IsRefusedBeforeItIsOpened)
{
    EXPECT_EQ(TestSupport::RuntimeText([] { (void)Decrypt("no base64!", "key"); }), "CryptStringToBinaryA failed");
}

TEST(DecryptTest, AnEmptyTextDoesNotOpen)
{
    EXPECT_THROW((void)Decrypt("", "key"), NtStatusException);
    EXPECT_THROW((void)Decrypt("\r\n", "key"), NtStatusException);
}

TEST(DecryptTest, MayBeDoneByManyThreadsAtOnce)
{
    const std::string enciphered = Encrypt("subtenant", "key");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            [&enciphered]
            {
                for (int round = 0; round < 100; ++round)
                {
                    EXPECT_EQ(Decrypt(enciphered, "key").GetView(), "subtenant");
                    EXPECT_THROW((void)Decrypt("AAAA", "key"), NtStatusException);
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
}

struct Base64Vector
{
    const char* bytes;
    const char* text;
};

class Base64Contract : public testing::TestWithParam<Base64Vector>
{
};

TEST_P(Base64Contract, GoesBothWaysAsPublished)
{
    EXPECT_EQ(ToBase64String(BytesOf(GetParam().bytes)), GetParam().text);
    EXPECT_EQ(ToBinary(GetParam().text), BytesOf(GetParam().bytes));
}

INSTANTIATE_TEST_SUITE_P(
    Rfc4648,
    Base64Contract,
    testing::Values(
        Base64Vector{"", ""},
        Base64Vector{"f", "Zg=="},
        Base64Vector{"fo", "Zm8="},
        Base64Vector{"foo", "Zm9v"},
        Base64Vector{"foob", "Zm9vYg=="},
        Base64Vector{"fooba", "Zm9vYmE="},
        Base64Vector{"foobar", "Zm9vYmFy"}));

TEST(Base64Test, AllBytesAndAllLengthsMakeTheRoundTrip)
{
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < 300; ++i)
    {
        const std::string text = ToBase64String(bytes);
        EXPECT_EQ(text.size(), (bytes.size() + 2) / 3 * 4);
        EXPECT_EQ(ToBinary(text), bytes);
        bytes.push_back(static_cast<std::uint8_t>(255 - i));
    }
}

TEST(Base64Test, AMegabyteMakesTheRoundTripInOneLine)
{
    const std::vector<std::uint8_t> bytes(1'000'000, 0xAB);
    const std::string text = ToBase64String(bytes);
    EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(ToBinary(text), bytes);
}

struct LenientText
{
    std::string text;
    const char* hex;
};

class LenientBase64Contract : public testing::TestWithParam<LenientText>
{
};

TEST_P(LenientBase64Contract, IsTaken)
{
    EXPECT_EQ(ToHex(ToBinary(GetParam().text)), GetParam().hex);
}

INSTANTIATE_TEST_SUITE_P(
    Texts,
    LenientBase64Contract,
    testing::Values(
        // Without the padding.
        LenientText{"VV", "55"},
        LenientText{"VVV", "5555"},
        LenientText{"VVVVVV", "55555555"},
        LenientText{"VVVVVVV", "5555555555"},
        // Blanks and line ends anywhere.
        LenientText{"VV\r\nVV", "555555"},
        LenientText{" V V\tVV\n", "555555"},
        LenientText{"VV= =", "55"},
        LenientText{"VVV=\r\n", "5555"},
        LenientText{" \t\r\n", ""},
        // What stands behind the padding, or behind padding where none is needed.
        LenientText{"VV==\r\nVVVV", "55"},
        LenientText{"VVV=!", "5555"},
        LenientText{"VVVV=", "555555"},
        LenientText{"VVVV==!", "555555"},
        LenientText{"====", ""},
        LenientText{"=VVV", ""},
        // Bits that belong to no byte.
        LenientText{"AB==", "00"},
        LenientText{"AAB=", "0000"}));

class BadBase64Contract : public testing::TestWithParam<std::string>
{
};

TEST_P(BadBase64Contract, IsRefused)
{
    EXPECT_EQ(TestSupport::RuntimeText([] { (void)ToBinary(GetParam()); }), "CryptStringToBinaryA failed");
}

INSTANTIATE_TEST_SUITE_P(
    Texts,
    BadBase64Contract,
    testing::Values(
        "VV-V",
        "VV_V",
        "VVVV!",
        "VVVV\v",
        "VVVV\f",
        std::string("VV\0VV", 5),
        std::string("VVVV\0", 5),
        "VV\xC3\xA4",
        "\xFF\xFF\xFF\xFF",
        "VV=",
        "V=",
        "V==",
        "V=VV",
        "VV=V",
        "-----BEGIN CERTIFICATE-----\r\nVVVV\r\n-----END CERTIFICATE-----",
        // Six bits are no byte.
        "V",
        "V===",
        "VVVVV",
        "VVVVV==="));

} // namespace
