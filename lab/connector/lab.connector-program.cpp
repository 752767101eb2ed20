#include "lab.connector-program.hpp"

#include "lab.connector-arguments.hpp"
#include "lab.connector-channel.hpp"
#include "lab.connector-cloudlink.hpp"
#include "lab.connector-controllink.hpp"
#include "lab.connector-log.hpp"
#include "lab.connector-logpump.hpp"
#include "lab.connector-relay.hpp"
#include "lab.connector-stopevent.hpp"
#include "lab.control-connectorfile.hpp"
#include "lab.process-functions.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"

#include <chrono>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

namespace Lab::Connector
{

namespace
{

using std::chrono::milliseconds;

/// The agent waits five seconds for each pipe.
constexpr milliseconds PipeTimeout(4000);
constexpr milliseconds ControlTimeout(2000);

class Program
{
public:
    Program(Arguments arguments, std::filesystem::path folder, std::uint64_t process)
        : m_arguments(std::move(arguments)), m_folder(std::move(folder)), m_process(process)
    {
    }

    std::int32_t Run()
    {
        m_log.Tell(Level::Info, "Connector {} starts for {}", m_process, m_arguments.server);
        m_stop = FindStopEvent();
        TellStopEvent();
        ReadFile();
        ConnectControl();
        if (const std::optional<std::int32_t> code = ObeyStartOrders())
        {
            return *code;
        }
        return RelayMessages();
    }

private:
    void TellStopEvent()
    {
        if (m_stop.source == EventSource::Inheritance)
        {
            // Ordinary where the connector's account is a lesser one.
            m_log.Tell(Level::Debug, "The stop event was inherited, as it cannot be opened: {}", m_stop.problem);
        }
        else if (m_stop.source == EventSource::None)
        {
            m_log.Tell(Level::Warning, "There is no stop event: {}", m_stop.problem);
        }
    }

    void ReadFile()
    {
        try
        {
            m_file = Control::ReadConnectorFile(m_folder);
        }
        catch (const std::exception& problem)
        {
            m_log.Tell(Level::Error, "Nothing tells where servers are: {}", problem.what());
        }
    }

    void ConnectControl()
    {
        if (!m_file.control)
        {
            return;
        }
        try
        {
            m_control = std::make_unique<ControlLink>(*m_file.control, m_process, ControlTimeout);
            m_control->Start(m_orders, m_log);
        }
        catch (const std::exception& problem)
        {
            m_log.Tell(Level::Warning, "The laboratory does not answer, so nobody gives orders: {}", problem.what());
        }
    }

    /// The exit code when the start ends the program.
    std::optional<std::int32_t> ObeyStartOrders()
    {
        for (const Control::Order& order : m_control ? m_control->GetStartOrders() : std::vector<Control::Order>())
        {
            if (order.kind == Control::OrderKind::ExitAtStart)
            {
                m_log.Tell(Level::Warning, "Ordered to end at once with {}", order.exitCode);
                return order.exitCode;
            }
            if (order.kind == Control::OrderKind::NeverConnect)
            {
                m_log.Tell(Level::Warning, "Ordered never to open a pipe");
                AwaitStop();
                return ExitCode::Stopped;
            }
            m_orders.Push(order);
        }
        return std::nullopt;
    }

    void AwaitStop()
    {
        if (m_stop.handle.IsValid())
        {
            (void)Shared::Concurrency::WaitFor(m_stop.handle.GetRawHandle(), Shared::Time::Infinite);
            return;
        }
        while (true)
        {
            Shared::Time::SleepFor(std::chrono::hours(1));
        }
    }

    std::int32_t RelayMessages()
    {
        std::unique_ptr<MessageChannel> messages;
        std::unique_ptr<MessageChannel> lines;
        try
        {
            messages = OpenPipeChannel(m_arguments.messagePipe, PipeTimeout);
            lines = OpenPipeChannel(m_arguments.logPipe, PipeTimeout);
        }
        catch (const ChannelError& problem)
        {
            m_log.Tell(Level::Error, "{}", problem.what());
            std::cerr << "connector: " << problem.what() << '\n';
            return ExitCode::NoPipe;
        }
        LogPump pump(std::move(lines), m_log);
        pump.Start();
        CloudLink cloud(MakeLinkSettings(), m_log);
        cloud.Start();
        Relay relay(*messages, cloud, m_orders, m_log, m_stop.handle.GetRawHandle());
        relay.OnHang([&pump](bool hangs) { pump.Hold(hangs); });
        const RelayEnd end = relay.Run();
        m_log.Tell(Level::Info, "Connector {} ends", m_process);
        return end == RelayEnd::Stopped ? ExitCode::Stopped : ExitCode::AgentGone;
    }

    CloudLink::Settings MakeLinkSettings()
    {
        CloudLink::Settings settings;
        settings.server = m_arguments.server;
        settings.process = m_process;
        settings.reconnectDelay = m_file.reconnectDelay;
        settings.findServer = [folder = m_folder, server = m_arguments.server]
        {
            return Control::ReadConnectorFile(folder).FindServer(server);
        };
        return settings;
    }

    Arguments m_arguments;
    std::filesystem::path m_folder;
    std::uint64_t m_process;
    LogLines m_log;
    Relay::Orders m_orders;
    FoundEvent m_stop;
    Control::ConnectorFile m_file;
    /// Behind all that its threads use.
    std::unique_ptr<ControlLink> m_control;
};

} // namespace

std::int32_t RunConnector(const std::vector<std::string>& elements, const std::filesystem::path& folder)
{
    try
    {
        return Program(ParseArguments(elements), folder, Process::OwnId()).Run();
    }
    catch (const std::invalid_argument& problem)
    {
        std::cerr << "connector: " << problem.what()
                  << "\nThe agent starts it as: -s SERVER -p PIPE -l LOGPIPE, in its own folder.\n";
        return ExitCode::WrongUse;
    }
}

} // namespace Lab::Connector
