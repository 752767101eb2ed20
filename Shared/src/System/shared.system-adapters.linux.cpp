#include "shared.system-adapters.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include <systemd/sd-device.h>

#include "shared.system-adaptertables.linux.hpp"
#include "shared.system-linkdns.linux.hpp"
#include "shared.system-netlink.linux.hpp"
#include "shared.system-procfile.linux.hpp"
#include "shared.system-resolverfile.linux.hpp"

#include <linux/netlink.h>
#include <unistd.h>

namespace Shared::System
{

namespace
{

struct UnrefDevice
{
    void operator()(sd_device* device) const noexcept
    {
        ::sd_device_unref(device);
    }
};

std::string DeviceFile(const std::string& name, const char* file)
{
    return "/sys/class/net/" + name + "/" + file;
}

bool Exists(const std::string& path)
{
    return ::access(path.c_str(), F_OK) == 0;
}

/// Ethernet as the kernel's tables have it may be wireless, which its device's files tell.
AdapterType RefineType(const Adapter& adapter)
{
    if (adapter.type != AdapterType::Ethernet)
    {
        return adapter.type;
    }
    if (const auto type = ReadDeviceType(ReadProcFile(DeviceFile(adapter.name, "uevent")).value_or("")))
    {
        return *type;
    }
    // Drivers of the time before wireless devices had a name of their own.
    return Exists(DeviceFile(adapter.name, "wireless")) ? AdapterType::Wireless : AdapterType::Ethernet;
}

DeviceNames ReadDeviceNames(std::uint32_t index)
{
    sd_device* raw = nullptr;
    if (::sd_device_new_from_ifindex(&raw, static_cast<int>(index)) < 0)
    {
        return {};
    }
    const std::unique_ptr<sd_device, UnrefDevice> device{raw};
    const auto read = [raw](const char* key)
    {
        const char* text = nullptr;
        return ::sd_device_get_property_value(raw, key, &text) < 0 ? std::string{} : std::string{text};
    };
    return {read("ID_VENDOR_FROM_DATABASE"), read("ID_MODEL_FROM_DATABASE")};
}

/// The system's own resolver leaves this folder behind as soon as it has run.
std::optional<LinkDnsServers> ReadLinkDnsServers()
{
    constexpr std::chrono::milliseconds limit{500};
    return Exists("/run/systemd/resolve") ? QueryLinkDnsServers(limit) : std::nullopt;
}

/// Adds what the device's records tell.
Adapter Complete(Link link)
{
    auto& adapter = link.adapter;
    const bool isHardware = !link.isSoftware && adapter.type != AdapterType::Loopback;
    const bool isNamed = !adapter.description.empty();
    const auto names = isHardware && !isNamed ? ReadDeviceNames(adapter.index) : DeviceNames{};
    adapter.description = DescribeAdapter(adapter.description, names, adapter.friendlyName);
    if (isHardware)
    {
        adapter.type = RefineType(adapter);
    }
    return std::move(adapter);
}

} // namespace

std::vector<Adapter> GetAdapters()
{
    std::vector<Adapter> adapters;
    for (auto& link : JoinTables(ReadAdapterTables([] { return OpenNetlink(NETLINK_ROUTE); })))
    {
        adapters.push_back(Complete(std::move(link)));
    }
    AssignDns(adapters, ReadLinkDnsServers(), ReadResolverConfiguration());
    return adapters;
}

} // namespace Shared::System
