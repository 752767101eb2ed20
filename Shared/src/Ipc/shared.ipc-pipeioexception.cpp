#include "shared.ipc-pipeioexception.hpp"

#include <utility>

namespace Shared::Ipc
{

PipeIoException::PipeIoException(const std::string& text, std::uint32_t code, const std::source_location& where)
    : Win32Exception(text, code, where)
{
}

PipeIoException::PipeIoException(Worded worded) noexcept : Win32Exception(std::move(worded))
{
}

PipeIoException PipeIoException::FromStatus(
    const std::string& text, std::uint32_t status, const std::source_location& where)
{
    return PipeIoException(Worded{Exception::FormatNtStatusText(text, status, where), status});
}

} // namespace Shared::Ipc
