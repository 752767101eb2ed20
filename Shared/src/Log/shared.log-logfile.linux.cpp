#include "shared.log-logfile.hpp"

#include <fcntl.h>

namespace Shared::Log
{

std::string LogFile::NativeName(const std::filesystem::path& file)
{
    return file.native();
}

std::string LogFile::DisplayName(const std::filesystem::path& file)
{
    return file.native();
}

void LogFile::KeepFromChildren(std::FILE* stream) noexcept
{
    ::fcntl(::fileno(stream), F_SETFD, FD_CLOEXEC);
}

} // namespace Shared::Log
