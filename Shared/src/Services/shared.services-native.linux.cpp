#include "shared.services-native.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <string_view>
#include <utility>

#include <systemd/sd-bus.h>

#include "shared.exception-exceptions.hpp"
#include "shared.util-functions.hpp"

namespace Shared::Services::Native
{

namespace
{

constexpr std::uint64_t CallTimeoutUs = 5'000'000;

const char* const Destination = "org.freedesktop.systemd1";
const char* const ManagerPath = "/org/freedesktop/systemd1";
const char* const ManagerInterface = "org.freedesktop.systemd1.Manager";
const char* const UnitInterface = "org.freedesktop.systemd1.Unit";

struct CloseBus
{
    void operator()(sd_bus* bus) const noexcept
    {
        ::sd_bus_flush_close_unref(bus);
    }
};

struct UnrefMessage
{
    void operator()(sd_bus_message* message) const noexcept
    {
        ::sd_bus_message_unref(message);
    }
};

using Bus = std::unique_ptr<sd_bus, CloseBus>;
using Message = std::unique_ptr<sd_bus_message, UnrefMessage>;

/// What the bus says beside the errno of a failed call. Nobody reads it: the code is what travels on.
class BusError
{
public:
    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;

    ~BusError()
    {
        ::sd_bus_error_free(&m_error);
    }

    sd_bus_error* Receive() noexcept
    {
        return &m_error;
    }

private:
    sd_bus_error m_error{nullptr, nullptr, 0};
};

[[noreturn]] void Fail(const char* text, int result)
{
    throw Exception::Win32Exception(text, static_cast<std::uint32_t>(-result));
}

} // namespace

class Manager
{
public:
    explicit Manager(Bus bus) noexcept : m_bus(std::move(bus))
    {
    }

    sd_bus* Get() const noexcept
    {
        return m_bus.get();
    }

    /// Calls a method of the systemd manager that takes one or two texts and gives the path of an object.
    std::string CallForPath(const char* failureText, const char* method, const char* first, const char* second) const
    {
        BusError error;
        sd_bus_message* raw = nullptr;
        const int called = second == nullptr
            ? ::sd_bus_call_method(
                  Get(), Destination, ManagerPath, ManagerInterface, method, error.Receive(), &raw, "s", first)
            : ::sd_bus_call_method(
                  Get(), Destination, ManagerPath, ManagerInterface, method, error.Receive(), &raw, "ss", first,
                  second);
        const Message reply{raw};
        if (called < 0)
        {
            Fail(failureText, called);
        }
        const char* path = nullptr;
        const int read = ::sd_bus_message_read(reply.get(), "o", &path);
        if (read < 0)
        {
            Fail(failureText, read);
        }
        return path;
    }

    std::string ReadUnitText(const char* failureText, const std::string& unitPath, const char* property) const
    {
        BusError error;
        char* raw = nullptr;
        const int result = ::sd_bus_get_property_string(
            Get(), Destination, unitPath.c_str(), UnitInterface, property, error.Receive(), &raw);
        const std::unique_ptr<char, decltype(&std::free)> text{raw, &std::free};
        if (result < 0)
        {
            Fail(failureText, result);
        }
        return text.get();
    }

private:
    Bus m_bus;
};

namespace
{

struct StateName
{
    std::string_view name;
    ServiceState state;
};

constexpr std::array<StateName, 6> StateNames{
    {{"active", ServiceState::Running},
     {"reloading", ServiceState::Running},
     {"inactive", ServiceState::Stopped},
     {"failed", ServiceState::Stopped},
     {"activating", ServiceState::StartPending},
     {"deactivating", ServiceState::StopPending}}};

class UnitService final : public Service
{
public:
    UnitService(std::shared_ptr<Manager> manager, std::string unit, std::string path) noexcept
        : m_manager(std::move(manager)), m_unit(std::move(unit)), m_path(std::move(path))
    {
    }

    void Start() override
    {
        m_manager->CallForPath("StartServiceW() failed", "StartUnit", m_unit.c_str(), "replace");
    }

    void Delete() override
    {
        Fail("DeleteService() failed", -EOPNOTSUPP);
    }

    ServiceState QueryState() const override
    {
        const char* const failureText = "QueryServiceStatusEx() failed";
        const auto name = m_manager->ReadUnitText(failureText, m_path, "ActiveState");
        for (const auto& known : StateNames)
        {
            if (known.name == name)
            {
                return known.state;
            }
        }
        Fail(failureText, -EBADMSG);
    }

private:
    std::shared_ptr<Manager> m_manager;
    std::string m_unit;
    std::string m_path;
};

} // namespace

std::shared_ptr<Manager> OpenManager(std::uint32_t /*access*/)
{
    const char* const failureText = "OpenSCManagerW() failed";
    sd_bus* raw = nullptr;
    int result = ::sd_bus_open_system(&raw);
    if (result < 0)
    {
        Fail(failureText, result);
    }
    auto manager = std::make_shared<Manager>(Bus{raw});
    result = ::sd_bus_set_method_call_timeout(raw, CallTimeoutUs);
    if (result < 0)
    {
        Fail(failureText, result);
    }
    // Connecting is over before the other side has answered; a machine with a bus but without systemd is told here.
    BusError error;
    char* version = nullptr;
    result = ::sd_bus_get_property_string(
        raw, Destination, ManagerPath, ManagerInterface, "Version", error.Receive(), &version);
    std::free(version);
    if (result < 0)
    {
        Fail(failureText, result);
    }
    return manager;
}

std::unique_ptr<Service> FindService(
    const std::shared_ptr<Manager>& manager, const std::wstring& name, std::uint32_t /*access*/)
{
    const char* const failureText = "OpenServiceW() failed";
    constexpr std::string_view suffix = ".service";
    auto unit = Util::ConvertStringType(name);
    if (!unit.ends_with(suffix))
    {
        unit += suffix;
    }
    // The manager hands out an object for any name; only the object tells that there is nothing behind it.
    auto path = manager->CallForPath(failureText, "LoadUnit", unit.c_str(), nullptr);
    if (manager->ReadUnitText(failureText, path, "LoadState") == "not-found")
    {
        Fail(failureText, -ENOENT);
    }
    return std::make_unique<UnitService>(manager, std::move(unit), std::move(path));
}

} // namespace Shared::Services::Native
