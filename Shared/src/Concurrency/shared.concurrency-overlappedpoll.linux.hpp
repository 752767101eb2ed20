#pragma once

namespace Shared::Concurrency
{

/// Asks the kernel to signal an event, once, as soon as a descriptor can be read or was hung up; at once when it is so
/// already. Nobody's thread is woken for it but the one that waits on the event. What is asked cannot be taken back: the
/// descriptor's file stays open until it happens, also when the descriptor is closed, so a socket is shut down first.
/// @param event an eventfd; may be closed before it is signalled.
/// False when the kernel does not do it (not built in, not allowed, too much of it going on): then somebody has to watch.
/// Any thread.
bool SignalWhenReadable(int descriptor, int event) noexcept;

} // namespace Shared::Concurrency
