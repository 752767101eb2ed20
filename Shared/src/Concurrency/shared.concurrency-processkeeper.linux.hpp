#pragma once

#include "shared.security-identity.linux.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

/// The process that stands between the agent and its children, which Linux needs where Windows has job objects: the
/// parent of all children, and of whatever they leave behind. It ends children whose job is closed, and everything once
/// the agent is gone, in whatever way it went. It is split off from the agent and never runs a program itself, so it
/// uses nothing but system calls and memory of its own.
namespace Shared::Concurrency::Native::Keeper
{

// How the agent and a keeper talk: one sequenced-packet socket for requests, which the keeper takes one after another,
// and one for each child, on which the keeper answers. A request and its descriptors come in one packet.

/// A packet, with all texts, is at most this long.
inline constexpr std::size_t LongestRequest = std::size_t{128} * 1024;
/// Arguments and environment entries of one child.
inline constexpr std::size_t MostTexts = 4096;
/// Descriptors that a child gets beside its three standard ones.
inline constexpr std::size_t MostInherited = 128;
/// Children at a time; jobs that they are in, all together; and descendants that have lost their parent.
inline constexpr std::size_t MostChildren = 512;
inline constexpr std::size_t MostJobLines = 1024;
inline constexpr std::size_t MostOrphans = 4096;

enum class RequestKind : std::uint32_t
{
    /// Start a child. Descriptors: the child's socket, its standard input, output and error, then what the flags say,
    /// then those to be inherited.
    Start = 1,
    /// Interrupt the child's group.
    Interrupt = 2,
    /// The child belongs to one more job. Descriptor: the job's pipe, for reading.
    AddToJob = 3
};

/// What all requests begin with. Requests but the first kind are no more than this.
struct RequestHeader
{
    RequestKind kind = RequestKind::Start;
    std::uint32_t reserved = 0;
    /// Which child; a number of the agent's own choice, that it never uses again.
    std::uint64_t child = 0;
};

struct StartRequest
{
    RequestHeader header;
    /// Applied if it is not what the keeper itself is.
    Security::Identity identity;
    /// The child can be interrupted with all that it starts.
    std::uint32_t hasOwnGroup = 0;
    /// A descriptor of the job's pipe is sent along.
    std::uint32_t isInJob = 0;
    /// A descriptor of a Landlock ruleset is sent along.
    std::uint32_t hasRuleset = 0;
    std::uint32_t argumentCount = 0;
    std::uint32_t environmentCount = 0;
    std::uint32_t inheritedCount = 0;
    /// The numbers that the inherited descriptors have in the child: those that they have in the agent.
    std::array<std::int32_t, MostInherited> inherited{};
    // Behind it, each ended by a null: the program's path, the working directory, the arguments, the environment.
};

static_assert(std::is_trivially_copyable_v<StartRequest>);

enum class ReplyKind : std::uint32_t
{
    /// `value` is the process's id; its pidfd is sent along.
    Started = 1,
    /// `value` is an errno. The socket says nothing more.
    Failed = 2,
    /// `value` is the exit code: the lowest 8 bits of what the program returned, or 128 and the number of the signal
    /// that ended it. The socket says nothing more.
    Ended = 3
};

/// What failed when a child was started.
enum class StartStep : std::uint32_t
{
    Request,
    Descriptors,
    Directory,
    Identity,
    Program
};

struct Reply
{
    ReplyKind kind = ReplyKind::Started;
    std::uint32_t value = 0;
    StartStep step = StartStep::Request;
};

/// Which children a keeper starts.
enum class Kind : std::uint32_t
{
    /// Those that are what the agent is, or another user with all that this user may have.
    Plain,
    /// Restricted ones.
    Restricted
};

/// Descriptors that one packet can bring.
inline constexpr std::size_t MostDescriptors = MostInherited + 6;

/// Turns the calling process, a copy of the agent that was made by fork(), into a keeper. @param control its end of the
/// socket for requests; every other descriptor is closed. Never returns: ends with the agent, which it learns from the
/// socket, after everything that was started here.
[[noreturn]] void Run(int control, Kind kind) noexcept;

} // namespace Shared::Concurrency::Native::Keeper
