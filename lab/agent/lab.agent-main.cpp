// The agent as the laboratory runs it: the same code as the shipped one, with a switch for its clock in front.
//
//   --clock-speed=X   everything that the agent does by the clock happens X times as fast
//
// Its log is flushed often, so that whoever follows it sees what happens when it happens.

#include "agentprocess.entrypoints.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-thread.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include <spdlog/spdlog.h>

namespace
{

/// Flushes the log every 50 ms of real time.
class LogFlusher
{
public:
    explicit LogFlusher(double speed)
        : m_periodMs(static_cast<std::uint32_t>(std::max(50.0 * speed, 1.0))),
          m_stop(false, true),
          m_thread("lab-flush")
    {
        m_thread.Start(
            [this]
            {
                while (!m_stop.WaitOnEvent(m_periodMs))
                {
                    spdlog::apply_all([](const std::shared_ptr<spdlog::logger>& logger) { logger->flush(); });
                }
                return 0;
            });
    }

    LogFlusher(const LogFlusher&) = delete;
    LogFlusher& operator=(const LogFlusher&) = delete;

    ~LogFlusher()
    {
        m_stop.SignalNoThrow();
        m_thread.JoinNoThrow(Shared::Time::Infinite);
    }

private:
    std::uint32_t m_periodMs;
    Shared::Concurrency::Event m_stop;
    Shared::Concurrency::Thread m_thread;
};

/// The speed that the arguments ask for.
double FindSpeed(int argc, char** argv)
{
    constexpr std::string_view Switch = "--clock-speed=";
    double speed = 1.0;
    for (int i = 1; i < argc; ++i)
    {
        const std::string_view argument(argv[i]);
        if (argument.starts_with(Switch))
        {
            speed = std::stod(std::string(argument.substr(Switch.size())));
        }
    }
    return speed;
}

} // namespace

int main(int argc, char** argv)
{
    constexpr int WrongUse = 2;
    double speed = 1.0;
    try
    {
        speed = FindSpeed(argc, argv);
        Shared::Time::ClockControl::SetSpeed(speed);
    }
    catch (const std::exception& problem)
    {
        std::cerr << "the laboratory's agent: --clock-speed: " << problem.what() << '\n';
        return WrongUse;
    }
    const LogFlusher flusher(speed);
    return Agent::Process::RunProcess(argc, argv);
}
