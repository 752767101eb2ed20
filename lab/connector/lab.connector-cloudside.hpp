#pragma once

#include "lab.net-framing.hpp"
#include "shared.raii-win32handle.hpp"

#include <chrono>
#include <string>

namespace Lab::Connector
{

/// The way to the cloud as the relay sees it: encoded envelopes go in and come out. Any thread.
class CloudSide
{
public:
    virtual ~CloudSide() = default;

    /// Takes an envelope that is to go to the cloud, now or when the link is up again. False when too much waits already:
    /// then it is not taken.
    virtual bool Send(std::string envelope) = 0;
    /// Signalled while envelopes from the cloud wait.
    virtual Shared::Raii::RawHandle GetReceivedHandle() const = 0;
    /// The oldest of them; false when none waits.
    virtual bool TakeReceived(std::string& envelope) = 0;
    /// From now on frames go to the cloud in bites; for good when `duration` is zero.
    virtual void Fragment(const Net::Fragments& fragments, std::chrono::milliseconds duration) = 0;
};

} // namespace Lab::Connector
