#pragma once

#include "lab.tools-console.hpp"
#include "lab.tools-pathtrace.hpp"
#include "lab.tools-probepackets.hpp"

#include <cstdint>
#include <memory>
#include <string>

namespace Lab::Tools
{

/// What a prober of this platform sends when it is asked for probes of `kind`: on Linux the same, on Windows always an echo,
/// as the system sends no other probes whose time to live is told.
ProbeKind SentKind(ProbeKind kind) noexcept;

/// A prober towards an IPv4 address, in real time, that is broken off by the signal.
/// @param port of datagrams and connection requests.
/// Throws std::system_error: on Linux raw sockets are needed, and so root or the capability for them; and there has to be a
/// way to the target. One thread.
std::unique_ptr<Prober> MakeProber(
    ProbeKind kind, const std::string& target, std::uint16_t port, const BreakSignal& signal);

} // namespace Lab::Tools
