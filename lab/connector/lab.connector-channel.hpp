#pragma once

#include "shared.raii-win32handle.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace Lab
{

/// The other side of a channel is gone, or the system refused; what() says what was tried.
class ChannelError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One end of a duplex channel that keeps messages whole. Nothing blocks: what is to come is waited on by two handles,
/// together with whatever else the owner waits for. One thread at a time.
class MessageChannel
{
public:
    virtual ~MessageChannel() = default;

    /// Signalled while TakeReceived() has a message or a failure to give. It may be another one after each call of that.
    virtual Shared::Raii::RawHandle GetReceivedHandle() const = 0;
    /// The message that has arrived; nothing when none has. Throws ChannelError, and from then on always.
    virtual std::optional<std::string> TakeReceived() = 0;
    /// Starts to send one message; only when none is under way. Throws ChannelError.
    virtual void StartSend(const std::string& message) = 0;
    /// Signalled when the message that was started last has gone or failed. Only while one is under way.
    virtual Shared::Raii::RawHandle GetSentHandle() const = 0;
    /// To be called when that is signalled, before the next message. Throws ChannelError.
    virtual void FinishSend() = 0;
};

/// Opens the pipe of that name, as its client.
/// @param timeout how long one that is not there yet, or not free, is tried again.
/// Throws ChannelError.
std::unique_ptr<MessageChannel> OpenPipeChannel(const std::string& name, std::chrono::milliseconds timeout);

} // namespace Lab
