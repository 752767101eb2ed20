#pragma once

#include "shared.exception-exceptions.hpp"

#include <cstdint>
#include <source_location>
#include <string>

namespace Shared::Ipc
{

/// A failure of a pipe itself, as against a failure of what goes through it: the link is to be taken for broken.
class PipeIoException : public Exception::Win32Exception
{
public:
    /// By an error code, with the texts of Win32Exception: code 0, a failure that the system knows nothing of (a
    /// time-out), gives the short form.
    PipeIoException(
        const std::string& text,
        std::uint32_t code,
        const std::source_location& where = std::source_location::current());

    /// By the NT status with which an operation ended, with the text of NtStatusException; GetCode() is that status.
    static PipeIoException FromStatus(
        const std::string& text,
        std::uint32_t status,
        const std::source_location& where = std::source_location::current());

private:
    explicit PipeIoException(Worded worded) noexcept;
};

} // namespace Shared::Ipc
