#include "test.support-temporaryfolder.hpp"

#include <fstream>
#include <ios>
#include <iterator>
#include <random>
#include <system_error>

#include <gtest/gtest.h>

namespace TestSupport
{

TemporaryFolder::TemporaryFolder()
    : m_path(
          std::filesystem::temp_directory_path() /
          (std::string("vel-") + testing::UnitTest::GetInstance()->current_test_info()->name() + "-" +
           std::to_string(std::random_device{}())))
{
    std::filesystem::create_directories(m_path);
}

TemporaryFolder::~TemporaryFolder()
{
    if (!testing::Test::HasFailure())
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
}

const std::filesystem::path& TemporaryFolder::Path() const noexcept
{
    return m_path;
}

std::string ReadFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

void WriteFile(const std::filesystem::path& file, std::string_view bytes)
{
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    ASSERT_TRUE(stream) << file;
}

} // namespace TestSupport
