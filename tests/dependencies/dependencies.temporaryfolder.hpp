#pragma once

#include <filesystem>

namespace Dependencies
{
// A folder of the running test's own, named after it and its process's start, and removed when the test has passed.
class TemporaryFolder
{
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& Path() const noexcept;

private:
    std::filesystem::path m_path;
};
} // namespace Dependencies
