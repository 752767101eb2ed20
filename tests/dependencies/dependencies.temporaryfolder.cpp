#include "dependencies.temporaryfolder.hpp"

#include <random>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

namespace Dependencies
{
TemporaryFolder::TemporaryFolder()
    : m_path{
          std::filesystem::temp_directory_path() /
          (std::string{"vel-"} + testing::UnitTest::GetInstance()->current_test_info()->name() + "-" +
           std::to_string(std::random_device{}()))}
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
} // namespace Dependencies
