#include "lab.vellab-logtail.hpp"

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace
{

class LogTailTest : public ::testing::Test
{
protected:
    LogTailTest()
        : m_file(std::filesystem::temp_directory_path() / ("vel-logtail-" + std::to_string(std::random_device{}())))
    {
    }

    ~LogTailTest() override
    {
        std::error_code ignored;
        std::filesystem::remove(m_file, ignored);
    }

    void Append(const std::string& text)
    {
        std::ofstream(m_file, std::ios::binary | std::ios::app) << text;
    }

    std::filesystem::path m_file;
};

TEST_F(LogTailTest, AFileThatIsNotThereYetIsReadOnceItIs)
{
    Lab::LogTail tail(m_file);
    EXPECT_EQ(tail.ReadNew(), "");
    Append("one\n");
    EXPECT_EQ(tail.ReadNew(), "one\n");
    EXPECT_EQ(tail.ReadNew(), "");
}

TEST_F(LogTailTest, OnlyWholeLinesAreGivenUntilTheRestIsAskedFor)
{
    Lab::LogTail tail(m_file);
    Append("one\ntw");
    EXPECT_EQ(tail.ReadNew(), "one\n");
    Append("o\nthree");
    EXPECT_EQ(tail.ReadNew(), "two\n");
    EXPECT_EQ(tail.ReadRest(), "three");
    EXPECT_EQ(tail.ReadRest(), "");
}

TEST_F(LogTailTest, ARotatedFileIsReadFromItsBeginning)
{
    Lab::LogTail tail(m_file);
    Append("a long line before the rotation\n");
    EXPECT_EQ(tail.ReadNew(), "a long line before the rotation\n");
    std::filesystem::resize_file(m_file, 0);
    Append("new\n");
    EXPECT_EQ(tail.ReadNew(), "new\n");
}

} // namespace
