#include "lab.tools-mtr.hpp"

#include "lab.tools-bmtr.hpp"
#include "lab.tools-prober.hpp"

namespace Lab::Tools
{

Path MeasurePath(const MtrArguments& arguments, const std::string& address)
{
    constexpr std::uint16_t NoPort = 0;
    TraceSettings settings;
    settings.cycles = arguments.cycles;
    settings.interval = arguments.interval;
    settings.timeout = arguments.timeout;
    const BreakSignal signal;
    const std::unique_ptr<Prober> prober = MakeProber(ProbeKind::Echo, address, NoPort, signal);
    return MakePath(arguments.target, address, ProbeKind::Echo, settings, TracePath(*prober, settings));
}

} // namespace Lab::Tools
