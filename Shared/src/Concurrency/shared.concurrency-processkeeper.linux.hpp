#pragma once

#include <cstddef>
#include <cstdint>

/// The process that stands between the agent and its children, which Linux needs where Windows has job objects: the
/// parent of all children, and of whatever they leave behind. It ends children whose job is closed, and everything once
/// the agent is gone, in whatever way it went. It is split off from the agent and never runs a program itself, so it
/// uses nothing but system calls and memory of its own.
namespace Shared::Concurrency::Native::Keeper
{

/// Children at a time; jobs that they are in, all together; and descendants that have lost their parent.
inline constexpr std::size_t MostChildren = 512;
inline constexpr std::size_t MostJobLines = 1024;
inline constexpr std::size_t MostOrphans = 4096;

/// Which children a keeper starts.
enum class Kind : std::uint32_t
{
    /// Those that are what the agent is, or another user with all that this user may have.
    Plain,
    /// Restricted ones.
    Restricted
};

/// Turns the calling process, a copy of the agent that was made by fork(), into a keeper. @param control its end of the
/// socket for requests; every other descriptor is closed. Never returns: ends with the agent, which it learns from the
/// socket, after everything that was started here.
[[noreturn]] void Run(int control, Kind kind) noexcept;

} // namespace Shared::Concurrency::Native::Keeper
