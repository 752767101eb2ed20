#pragma once

#include <filesystem>
#include <string>

namespace Lab::Tools
{

/// The file of a program that the system has, by its name without an extension; empty when it has none. Only the system's
/// own folders are looked through, so that a tool of the laboratory never finds itself.
std::filesystem::path FindSystemProgram(const std::string& name);

} // namespace Lab::Tools
