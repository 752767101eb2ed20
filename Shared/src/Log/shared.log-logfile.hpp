#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

/// What differs between the platforms about a log file that is opened by the C library.
namespace Shared::Log::LogFile
{

/// The name by which the C library opens `file`. On Windows that is one in the system's code page, so where `file` has
/// characters that this lacks, the short names of its folders stand in for them. Throws the runtime exception "The name
/// of the log file cannot be written in the system's code page" when there are none either (the volume then keeps no
/// short names, or the folder does not exist yet).
std::string NativeName(const std::filesystem::path& file);

/// `file` as UTF-8, for texts.
std::string DisplayName(const std::filesystem::path& file);

/// Takes care that no child process inherits `stream`: a log file that somebody else has open cannot be renamed on
/// Windows, and stays on a full disk when it is deleted on Linux.
void KeepFromChildren(std::FILE* stream) noexcept;

} // namespace Shared::Log::LogFile
