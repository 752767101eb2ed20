#pragma once

#include <filesystem>
#include <memory>

namespace LogTests
{

/// From construction to destruction the file, which must exist, can be written and emptied but not renamed: on Windows
/// somebody else has it open, on Linux its folder is read-only (for which a process with all rights gives them up
/// meanwhile).
class UnmovableFile
{
public:
    explicit UnmovableFile(const std::filesystem::path& file);
    UnmovableFile(const UnmovableFile&) = delete;
    UnmovableFile& operator=(const UnmovableFile&) = delete;
    ~UnmovableFile();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace LogTests
