#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The parts of the probe program (contract.processprobe-program.cpp). All texts are UTF-8.
namespace Contract::Probe
{

/// What main() does, with all of its arguments.
int Run(const std::vector<std::string>& arguments);

// The platform's part.

std::vector<std::string> Environment();
std::string WorkingFolder();
/// The lines of the report that only this platform has.
std::string DescribeSelf();
[[noreturn]] void WaitToBeEnded();
enum class Descendant
{
    Child,
    /// It has broken with its parent and the session as far as the system allows.
    Daemon,
    /// The same, with tricks that hide whose it is.
    Fugitive
};

/// Starts this program with --hang, and without our output; its process id.
std::uint32_t StartSelf(Descendant descendant);
/// From now on standard output gets the bytes as they are printed.
void MakeOutputBinary();
/// From now on a break is noted, or not heeded at all.
void HandleBreak(bool isHeeded);
/// Until a break has been noted.
void AwaitBreak();
void Crash();
/// @param what one of --is-handle, --try-write and the like.
bool Try(std::string_view what, const std::string& with);

} // namespace Contract::Probe
