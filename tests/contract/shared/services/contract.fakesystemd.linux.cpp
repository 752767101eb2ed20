#include "contract.fakesystemd.linux.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <systemd/sd-bus.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Contract
{

namespace
{

const char* const Daemon = "/usr/bin/dbus-daemon";
const char* const BusVariable = "DBUS_SYSTEM_BUS_ADDRESS";
constexpr std::string_view UnitPrefix = "/org/freedesktop/systemd1/unit/u";

void Check(int result, const char* what)
{
    if (result < 0)
    {
        throw std::runtime_error(std::string{what} + ": " + std::strerror(-result));
    }
}

const char* const ConfigurationStart =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=)";

const char* const ConfigurationEnd = R"(/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

} // namespace

struct FakeSystemd::State
{
    std::map<std::string, FakeUnit> units;
    /// Object paths carry the number of the unit's name in here.
    std::vector<std::string> names;
    std::filesystem::path folder;
    std::optional<std::string> addressBefore;
    ::pid_t daemon = -1;
    sd_bus* bus = nullptr;
    std::thread thread;
    std::atomic<bool> isStopping = false;

    std::string PathOf(const std::string& name)
    {
        for (std::size_t i = 0; i < names.size(); ++i)
        {
            if (names[i] == name)
            {
                return std::string{UnitPrefix} + std::to_string(i);
            }
        }
        names.push_back(name);
        return std::string{UnitPrefix} + std::to_string(names.size() - 1);
    }

    /// An unknown name is a unit too, one that was not found.
    FakeUnit UnitAt(std::string_view path) const
    {
        const auto& name = names.at(std::stoul(std::string{path.substr(UnitPrefix.size())}));
        const auto found = units.find(name);
        return found == units.end() ? FakeUnit{"not-found", "inactive", false} : found->second;
    }

    static int OnMessage(sd_bus_message* message, void* self, sd_bus_error* error)
    {
        auto& state = *static_cast<State*>(self);
        if (::sd_bus_message_is_method_call(message, "org.freedesktop.systemd1.Manager", "LoadUnit") > 0)
        {
            return state.LoadUnit(message);
        }
        if (::sd_bus_message_is_method_call(message, "org.freedesktop.systemd1.Manager", "StartUnit") > 0)
        {
            return state.StartUnit(message, error);
        }
        if (::sd_bus_message_is_method_call(message, "org.freedesktop.DBus.Properties", "Get") > 0)
        {
            return state.GetProperty(message);
        }
        return 0;
    }

    int LoadUnit(sd_bus_message* message)
    {
        const char* name = nullptr;
        const int result = ::sd_bus_message_read(message, "s", &name);
        return result < 0 ? result : ::sd_bus_reply_method_return(message, "o", PathOf(name).c_str());
    }

    int StartUnit(sd_bus_message* message, sd_bus_error* error)
    {
        const char* name = nullptr;
        const char* mode = nullptr;
        const int result = ::sd_bus_message_read(message, "ss", &name, &mode);
        if (result < 0)
        {
            return result;
        }
        const auto found = units.find(name);
        if (found == units.end() || !found->second.canStart)
        {
            return ::sd_bus_error_set(error, "org.freedesktop.systemd1.UnitMasked", "It cannot be started.");
        }
        found->second.activeState = "active";
        return ::sd_bus_reply_method_return(message, "o", "/org/freedesktop/systemd1/job/1");
    }

    int GetProperty(sd_bus_message* message)
    {
        const char* interface = nullptr;
        const char* property = nullptr;
        const int result = ::sd_bus_message_read(message, "ss", &interface, &property);
        if (result < 0)
        {
            return result;
        }
        std::string text = "252";
        const std::string_view path = ::sd_bus_message_get_path(message);
        if (path.starts_with(UnitPrefix))
        {
            const auto unit = UnitAt(path);
            text = std::string_view{property} == "LoadState" ? unit.loadState : unit.activeState;
        }
        return ::sd_bus_reply_method_return(message, "v", "s", text.c_str());
    }

    void StartDaemon()
    {
        const auto file = folder / "bus.conf";
        {
            std::ofstream{file} << ConfigurationStart << folder.string() << ConfigurationEnd;
        }
        std::array<int, 2> ends{};
        Check(::pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : -errno, "pipe2");
        const auto configuration = "--config-file=" + file.string();
        const auto log = (folder / "bus.log").string();
        daemon = ::fork();
        if (daemon == 0)
        {
            ::dup2(ends[1], STDOUT_FILENO);
            // It complains about each limit that a container does not let it raise.
            ::dup2(::open(log.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
            ::execl(Daemon, Daemon, configuration.c_str(), "--nofork", "--nosyslog", "--print-address=1", nullptr);
            ::_exit(127);
        }
        ::close(ends[1]);
        // It tells its address once it listens.
        char byte = 0;
        const auto count = ::read(ends[0], &byte, 1);
        ::close(ends[0]);
        Check(count == 1 ? 0 : -EIO, "the message bus did not start");
    }

    void StartSystemd(const std::string& address)
    {
        Check(::sd_bus_new(&bus), "sd_bus_new");
        Check(::sd_bus_set_address(bus, address.c_str()), "sd_bus_set_address");
        Check(::sd_bus_set_bus_client(bus, 1), "sd_bus_set_bus_client");
        Check(::sd_bus_start(bus), "sd_bus_start");
        Check(::sd_bus_add_filter(bus, nullptr, &State::OnMessage, this), "sd_bus_add_filter");
        Check(::sd_bus_request_name(bus, "org.freedesktop.systemd1", 0), "sd_bus_request_name");
        thread = std::thread{[this]
                             {
                                 Serve();
                             }};
    }

    void Serve()
    {
        constexpr std::uint64_t stepUs = 20'000;
        while (!isStopping)
        {
            const int result = ::sd_bus_process(bus, nullptr);
            if (result < 0)
            {
                return;
            }
            if (result == 0)
            {
                ::sd_bus_wait(bus, stepUs);
            }
        }
    }

    ~State()
    {
        isStopping = true;
        if (thread.joinable())
        {
            thread.join();
        }
        ::sd_bus_flush_close_unref(bus);
        if (daemon > 0)
        {
            ::kill(daemon, SIGKILL);
            ::waitpid(daemon, nullptr, 0);
        }
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
};

bool FakeSystemd::IsAvailable()
{
    return ::access(Daemon, X_OK) == 0;
}

FakeSystemd::FakeSystemd(std::map<std::string, FakeUnit> units, bool withSystemd) : m_state(std::make_unique<State>())
{
    m_state->units = std::move(units);
    std::string pattern = "/tmp/fakesystemd-XXXXXX"; // short: the name of a socket has little room
    m_state->folder = ::mkdtemp(pattern.data());
    m_state->StartDaemon();
    const auto address = "unix:path=" + (m_state->folder / "bus").string();
    if (withSystemd)
    {
        m_state->StartSystemd(address);
    }
    if (const char* const before = std::getenv(BusVariable))
    {
        m_state->addressBefore = before;
    }
    ::setenv(BusVariable, address.c_str(), 1);
}

FakeSystemd::~FakeSystemd()
{
    if (m_state->addressBefore)
    {
        ::setenv(BusVariable, m_state->addressBefore->c_str(), 1);
    }
    else
    {
        ::unsetenv(BusVariable);
    }
}

} // namespace Contract
