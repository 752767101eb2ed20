#pragma once

#include <cstdint>
#include <sstream>
#include <string>

/// What other programs (awk, find, cat, df, by a command of the shell) read of the machine in their own way. Whatever fails
/// is std::runtime_error.
namespace Contract
{

/// What the command prints.
std::istringstream ReadBy(const std::string& command);

/// A process as another program reads it.
struct ProcessReading
{
    /// Processor time, in scheduler ticks.
    std::uint64_t ticks = 0;
    /// Memory pages, by the count that is quick to tell, and by the sum of what all processors have counted.
    std::uint64_t residentPages = 0;
    std::uint64_t summedPages = 0;
    std::string imagePath;
};

ProcessReading ReadProcess(std::uint32_t id);

/// Lets other programs write the processor time of each process that has a program to a file.
void ReadAllProcesses(const std::string& file);

/// The bounds of a share, in percent.
struct Share
{
    double least = 0.0;
    double most = 0.0;
};

/// The share of the process among all that another program computes: of what has been done between four readings in those
/// files, the two inner ones after the begin and before the end of what is measured, the two outer ones around it.
Share ComputeShare(const std::string& folder, std::uint32_t id);

} // namespace Contract
