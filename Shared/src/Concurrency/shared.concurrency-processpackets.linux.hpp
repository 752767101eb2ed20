#pragma once

#include "shared.security-identity.linux.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include <sys/types.h>

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
/// Descriptors that one packet can bring.
inline constexpr std::size_t MostDescriptors = MostInherited + 6;

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

// The keeper's side, which asks for no memory and takes no lock.

/// The descriptors of one packet; those that nobody has taken are closed.
class Descriptors
{
public:
    Descriptors() noexcept = default;
    Descriptors(const Descriptors&) = delete;
    Descriptors& operator=(const Descriptors&) = delete;

    ~Descriptors();

    void CloseLent() noexcept;

    void Add(int descriptor) noexcept
    {
        m_items[m_count++] = descriptor;
    }

    bool IsFull() const noexcept
    {
        return m_count == MostDescriptors;
    }

    /// There was no room in this process for all of them.
    void CutOff() noexcept
    {
        m_areCutOff = true;
    }

    bool AreCutOff() const noexcept
    {
        return m_areCutOff;
    }

    /// The next one, for good; -1 when there is none.
    int Take() noexcept
    {
        return m_next < m_count ? m_items[m_next++] : -1;
    }

    /// The next one, until this object ends; -1 when there is none.
    int Borrow() noexcept
    {
        const int descriptor = Take();
        if (descriptor >= 0)
        {
            m_lent[m_lentCount++] = descriptor;
        }
        return descriptor;
    }

    std::size_t Left() const noexcept
    {
        return m_count - m_next;
    }

private:
    std::array<int, MostDescriptors> m_items{};
    std::size_t m_count = 0;
    std::size_t m_next = 0;
    std::array<int, MostDescriptors> m_lent{};
    std::size_t m_lentCount = 0;
    bool m_areCutOff = false;
};

/// On a child's socket. False when it cannot be said. @param descriptor sent along, or -1.
bool Answer(int channel, const Reply& reply, int descriptor) noexcept;

void AnswerFailure(int channel, StartStep step, int error) noexcept;

/// Takes one packet, without waiting. The length of its text; 0 when the agent is gone; less, with errno, when there is
/// none.
ssize_t ReceivePacket(int socket, std::span<char> packet, Descriptors& descriptors) noexcept;

} // namespace Shared::Concurrency::Native::Keeper
