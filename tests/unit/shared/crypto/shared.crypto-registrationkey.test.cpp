#include "shared.crypto-registrationkey.hpp"

#include "shared.crypto-sensitivestring.hpp"
#include "shared.crypto-sha256.hpp"
#include "shared.util-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-temporaryfolder.hpp"

#include <filesystem>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

namespace
{

using Shared::Crypto::GetRegistrationKey;
using Shared::Crypto::LongestRegistrationKey;
using Shared::Crypto::MakeRegistrationKey;
using Shared::Crypto::SetBiosSerialProvider;

std::string DigestOf(std::string_view text)
{
    const Shared::Crypto::Sha256 digest(text);
    return fmt::format("{:02x}", fmt::join(digest.GetDigest(), ""));
}

TEST(RegistrationKeyTest, IsAConstantPartOf15CharactersAndTheSerialNumber)
{
    const std::string constant = MakeRegistrationKey("");
    EXPECT_EQ(constant.size(), 15U);
    EXPECT_EQ(MakeRegistrationKey("SN-0815"), constant + "SN-0815");
}

TEST(RegistrationKeyTest, IsTheSameOnBothPlatformsAndInEveryVersion)
{
    EXPECT_EQ(DigestOf(MakeRegistrationKey("")), "ee8c9152b4e3053141980cce4e4807d4417b6632759dfc312661ce5ca6251bf6");
    EXPECT_EQ(
        DigestOf(MakeRegistrationKey("SN-0815")), "4ce569c51dcd4b92bf30f258b687663e95e69ad8c9df7e797579e18e3997ee3f");
}

TEST(RegistrationKeyTest, TheConstantPartIsPrintableAndNotThatOfNothing)
{
    for (const char character : MakeRegistrationKey(""))
    {
        EXPECT_GT(character, ' ');
        EXPECT_LT(character, '\x7F');
    }
}

TEST(RegistrationKeyTest, HasAtMost63Characters)
{
    const std::string serial(48, 's');
    EXPECT_EQ(MakeRegistrationKey(serial), MakeRegistrationKey("") + serial);
    EXPECT_EQ(MakeRegistrationKey(serial).size(), LongestRegistrationKey);
    EXPECT_EQ(MakeRegistrationKey(serial + "more"), MakeRegistrationKey(serial));
    EXPECT_EQ(MakeRegistrationKey(std::string(100'000, 's')), MakeRegistrationKey(serial));
}

TEST(RegistrationKeyTest, DoesNotEndWithinACharacter)
{
    const std::string almostFull(47, 's');
    EXPECT_EQ(MakeRegistrationKey(almostFull + "\xC3\xA4"), MakeRegistrationKey(almostFull));
    const std::string roomForOne(46, 's');
    EXPECT_EQ(MakeRegistrationKey(roomForOne + "\xC3\xA4"), MakeRegistrationKey("") + roomForOne + "\xC3\xA4");
}

TEST(RegistrationKeyTest, ComesBackFromWideCharactersAsItWas)
{
    const std::string key = MakeRegistrationKey("\xC3\xA4\xFF\x80SN\xED\xA0\x80");
    EXPECT_EQ(Shared::Crypto::ToUtf8(Shared::Crypto::ToSensitiveString(key)).GetView(), key);
    EXPECT_EQ(key, MakeRegistrationKey("") + "\xC3\xA4SN");
}

TEST(RegistrationKeyTest, TheConstantPartIsNotInTheExecutable)
{
    const std::string program = TestSupport::ReadFile(std::filesystem::path(Shared::Util::GetCurrentExecutablePath()));
    ASSERT_GT(program.size(), 10'000U);
    EXPECT_EQ(program.find(MakeRegistrationKey("")), std::string::npos);
}

// One test, as the key lives as long as the process.
TEST(RegistrationKeyTest, TheFirstCallAsksForTheSerialNumberAndLogsItAndAllLaterOnesHaveTheSameKey)
{
    const TestSupport::CapturedLog log;
    int asked = 0;
    SetBiosSerialProvider(
        [&asked]() -> std::string
        {
            if (++asked == 1)
            {
                throw std::runtime_error("the inventory is not there yet");
            }
            return "SN-0815";
        });
    EXPECT_THROW((void)GetRegistrationKey(), std::runtime_error);
    EXPECT_EQ(GetRegistrationKey(), MakeRegistrationKey("SN-0815"));
    EXPECT_EQ(log.Count(Shared::Log::Level::Info, "This machine's BIOS serial number is SN-0815"), 1U);

    SetBiosSerialProvider([] { return std::string("another"); });
    EXPECT_EQ(GetRegistrationKey(), MakeRegistrationKey("SN-0815"));
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(log.Lines().size(), 1U);
}

} // namespace
