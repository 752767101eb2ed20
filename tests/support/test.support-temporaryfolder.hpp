#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace TestSupport
{

/// A folder of the running test's own, made under the system's folder for temporary files. It is removed with all its
/// content when the test has passed, and kept when it has failed.
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

/// The bytes of a file; empty when there is none.
std::string ReadFile(const std::filesystem::path& file);

/// Makes the file with these bytes, or puts them in place of what it holds.
void WriteFile(const std::filesystem::path& file, std::string_view bytes);

} // namespace TestSupport
