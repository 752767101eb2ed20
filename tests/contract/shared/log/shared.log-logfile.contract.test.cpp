#include "shared.log-logfile.hpp"

#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "test.support-temporaryfolder.hpp"

namespace
{

namespace LogFile = Shared::Log::LogFile;

/// Writes to the file by its native name, as the logging library does, and reads it by its own.
void ExpectNativeNameLeadsTo(const std::filesystem::path& file)
{
    std::FILE* const stream = std::fopen(LogFile::NativeName(file).c_str(), "ab");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fputs("a line", stream) >= 0, true);
    EXPECT_EQ(std::fclose(stream), 0);
    EXPECT_EQ(TestSupport::ReadFile(file), "a line");
}

TEST(LogFileTest, ANativeNameOpensTheFileInAnOrdinaryFolder)
{
    const TestSupport::TemporaryFolder folder;

    ExpectNativeNameLeadsTo(folder.Path() / "agent.log");
}

TEST(LogFileTest, ANativeNameOpensTheFileInAFolderOfLettersThatNoCodePageHasTogether)
{
    const TestSupport::TemporaryFolder folder;
    const std::filesystem::path inside = folder.Path() / u8"\u00fc\u0436\u65e5\u672c" / u8"\u0111 \u05d0";
    std::filesystem::create_directories(inside);

    ExpectNativeNameLeadsTo(inside / "agent.log");
}

TEST(LogFileTest, TheNameForTextsIsUtf8)
{
    const std::filesystem::path name = u8"\u00fc\u0436\u65e5.log";

    EXPECT_EQ(LogFile::DisplayName(name), "\xc3\xbc\xd0\xb6\xe6\x97\xa5.log");
}

} // namespace
