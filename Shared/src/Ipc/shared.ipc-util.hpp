#pragma once

#include "shared.concurrency-overlappedio.hpp"
#include "shared.ipc-asyncmessagebasednamedpipe.hpp"

#include <cstdint>
#include <vector>

namespace Shared::Ipc
{

/// The whole message of which `operation`, a read on `pipe` whose event is signalled, has brought the first bytes: reads
/// what is left of it, waiting up to 4 seconds for each piece. The whole message stays with the operation, so that it can
/// be asked for again: what is returned is the operation's buffer, valid until the operation is assigned to, or ends. A
/// message of no bytes gives as many zeros as were asked for.
///
/// Throws PipeIoException: "CompleteRead() failed on pipe {} (last error: {}, internal status: {})" when the read has
/// failed, "CompleteRead() partial read timed out on pipe {}" and "CompleteRead(): partial read failed on pipe {} (last
/// error: {}, internal status: {})" when the rest could not be had; the numbers of the last are those of `operation`, its
/// status is that of the read that failed. Also the runtime exception "Operation is not successful" when the read has not
/// ended, and what AsyncMessageBasedNamedPipe::Read() and GetUnreadCharacterCount() throw.
const std::vector<std::uint8_t>& CompleteRead(AsyncMessageBasedNamedPipe& pipe, Concurrency::OverlappedIo& operation);

} // namespace Shared::Ipc
