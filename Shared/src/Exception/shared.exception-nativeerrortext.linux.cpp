#include "shared.exception-nativeerrortext.hpp"

#include <array>
#include <limits>
#include <string_view>

#include "shared.platform-errors.hpp"

#include <string.h>

namespace Shared::Exception::Native
{

namespace
{

struct Entry
{
    std::uint32_t code;
    std::string_view text;
};

/// Before errno: 109 is an errno too, but the agent never means that one.
constexpr std::array<Entry, 17> AgentErrors = {{
    {Platform::ErrorCode::BrokenPipe, "The pipe has been ended."},
    {Platform::ErrorCode::PipeBusy, "All instances of the pipe are busy."},
    {Platform::ErrorCode::NoData, "The pipe is being closed."},
    {Platform::ErrorCode::PipeNotConnected, "No process is on the other end of the pipe."},
    {Platform::ErrorCode::MoreData, "More data is available."},
    {Platform::ErrorCode::WaitTimeout, "The wait operation timed out."},
    {Platform::ErrorCode::StillActive, "No more data is available."},
    {Platform::ErrorCode::PipeConnected, "There is a process on the other end of the pipe."},
    {Platform::ErrorCode::PipeListening, "The pipe waits for a process to open its other end."},
    {Platform::ErrorCode::IoPending, "Overlapped I/O operation is in progress."},
    {Platform::ErrorCode::NotFound, "Element not found."},
    {Platform::ErrorCode::NoSystemResources, "There are not enough system resources to complete the operation."},
    {Platform::ErrorCode::ResolutionCancelled, "The resolution of the name was cancelled."},
    {Platform::ErrorCode::HostNotFound, "No such host is known."},
    {Platform::ErrorCode::HostTryAgain, "No answer came from a server that knows the host."},
    {Platform::ErrorCode::HostNoRecovery, "The answer to the question for a host makes no sense."},
    {Platform::ErrorCode::HostNoData, "The host is known, but has no address of the wanted kind."},
}};

/// The statuses that an operation on a message pipe can end with, and those of ciphering.
constexpr std::array<Entry, 24> Statuses = {{
    {0x00000000, "The operation completed successfully."},
    {0x00000102, "The wait operation timed out."},
    {0x00000103, "The operation that was requested is pending completion."},
    {0x80000005, "The data was too large to fit into the specified buffer."},
    {0xC0000001, "The operation was unsuccessful."},
    {0xC0000008, "An invalid handle was specified."},
    {0xC000000D, "An invalid parameter was passed."},
    {0xC0000011, "The end of the file has been reached."},
    {0xC0000017, "There is not enough memory to complete the operation."},
    {0xC0000022, "Access has been denied."},
    {0xC0000034, "The name was not found."},
    {0xC000003E, "The data is damaged."},
    {0xC000009A, "There are not enough system resources to complete the operation."},
    {0xC00000AC, "No instance of the pipe is available."},
    {0xC00000AD, "The pipe is in an invalid state."},
    {0xC00000AE, "All instances of the pipe are busy."},
    {0xC00000B0, "The pipe is disconnected."},
    {0xC00000B1, "The pipe is being closed."},
    {0xC00000B2, "The pipe is connected."},
    {0xC00000B3, "The pipe waits for the other end to connect."},
    {0xC0000120, "The operation was cancelled."},
    {0xC000014B, "The pipe is broken: its other end has been closed."},
    {0xC0000206, "The size of the data is invalid."},
    {0xC0000225, "The object was not found."},
}};

template <std::size_t Size>
std::string_view Find(const std::array<Entry, Size>& entries, std::uint32_t code) noexcept
{
    for (const Entry& entry : entries)
    {
        if (entry.code == code)
        {
            return entry.text;
        }
    }
    return {};
}

} // namespace

std::string SystemErrorText(std::uint32_t code)
{
    if (const std::string_view own = Find(AgentErrors, code); !own.empty())
    {
        return std::string(own);
    }
    if (code > static_cast<std::uint32_t>(std::numeric_limits<int>::max()))
    {
        return {};
    }
    // Untranslated and of static storage: strerror() is neither, and not for threads.
    const char* const text = ::strerrordesc_np(static_cast<int>(code));
    return text == nullptr ? std::string() : std::string(text);
}

std::string WinHttpErrorText(std::uint32_t /*code*/)
{
    return {};
}

std::optional<std::string> NtStatusText(std::uint32_t status)
{
    return std::string(Find(Statuses, status));
}

} // namespace Shared::Exception::Native
