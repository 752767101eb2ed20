#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace Lab
{

/// Follows a text file that another process writes, and gives the whole lines that are new. A file that is not there yet,
/// or that was replaced by a shorter one (a rotated log), is read from its beginning. One thread.
class LogTail
{
public:
    explicit LogTail(std::filesystem::path file);

    /// Everything up to the last line end that came since the last call; empty when there is nothing.
    std::string ReadNew();
    /// What stands behind the last line end too, for the end of the run.
    std::string ReadRest();

private:
    void ReadMore();

    std::filesystem::path m_file;
    std::uintmax_t m_position = 0;
    std::string m_pending;
};

} // namespace Lab
