#include "shared.ipc-util.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.util-functions.hpp"

#include <string>

#include <fmt/format.h>

namespace Shared::Ipc
{

using Concurrency::OverlappedIo;

namespace
{

constexpr std::uint32_t PartialReadTimeoutMs = 4000;

std::string NameOf(const AsyncMessageBasedNamedPipe& pipe)
{
    return Util::ConvertStringType(pipe.GetName());
}

/// Reads one more piece of the message, behind the bytes that are there; it has ended, successfully or partially, when
/// this returns.
OverlappedIo ReadRest(AsyncMessageBasedNamedPipe& pipe, const OverlappedIo& operation)
{
    OverlappedIo rest = pipe.ReadOn(operation.GetBuffer(), pipe.GetUnreadCharacterCount());
    if (!rest.WaitForCompletion(PartialReadTimeoutMs))
    {
        throw PipeIoException(fmt::format("CompleteRead() partial read timed out on pipe {}", NameOf(pipe)), 0);
    }
    if (!rest.IsSuccessful() && !rest.IsPartial())
    {
        throw PipeIoException::FromStatus(
            fmt::format(
                "CompleteRead(): partial read failed on pipe {} (last error: {}, internal status: {})", NameOf(pipe),
                operation.GetStartResult(), operation.GetRawStatus()),
            rest.GetRawStatus());
    }
    return rest;
}

} // namespace

const std::vector<std::uint8_t>& CompleteRead(AsyncMessageBasedNamedPipe& pipe, OverlappedIo& operation)
{
    if (operation.IsJoined())
    {
        return operation.GetBuffer();
    }
    if (operation.IsComplete() && !operation.IsSuccessful() && !operation.IsPartial())
    {
        throw PipeIoException::FromStatus(
            fmt::format(
                "CompleteRead() failed on pipe {} (last error: {}, internal status: {})", NameOf(pipe),
                operation.GetStartResult(), operation.GetRawStatus()),
            operation.GetRawStatus());
    }
    if (operation.IsSuccessful())
    {
        operation.ResizeBuffer();
        return operation.GetBuffer();
    }
    if (!operation.IsPartial())
    {
        // It still runs: its buffer is the system's.
        throw Exception::RuntimeException("Operation is not successful");
    }
    for (bool isWhole = false; !isWhole;)
    {
        OverlappedIo rest = ReadRest(pipe, operation);
        isWhole = rest.IsSuccessful();
        operation.Join(rest, isWhole);
    }
    return operation.GetBuffer();
}

} // namespace Shared::Ipc
