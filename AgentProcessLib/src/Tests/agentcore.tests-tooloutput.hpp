#pragma once

#include "shared.concurrency-processrunner.hpp"

#include <cstdint>
#include <source_location>
#include <string>

#include <fmt/format.h>

namespace AgentCore::Tests
{

/// How a runner words that its tool has given no result.
struct ToolFailureTexts
{
    /// The exit code, what the tool has printed, and the target.
    fmt::format_string<const std::uint32_t&, const std::string&, const std::string&> abnormalEnd;
    const char* nothingPrinted = nullptr;
};

/// Awaits the end of the tool for up to 2.5 seconds, and gives what it has printed. That is at most what five looks at its
/// pipe find, so a tool that prints without end costs no memory; it does not end in time then. Throws the runtime
/// exceptions that `texts` words, for an exit code other than 0 and for an empty output, as of the caller's place; and
/// what ProcessRunner::GetFinalExitCode() throws.
std::string ReadToolOutput(
    Shared::Concurrency::ProcessRunner& runner,
    const std::wstring& target,
    const ToolFailureTexts& texts,
    const std::source_location& where = std::source_location::current());

} // namespace AgentCore::Tests
