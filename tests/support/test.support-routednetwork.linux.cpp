#include "test.support-routednetwork.linux.hpp"

#include "test.support-descriptor.linux.hpp"
#include "test.support-temporaryfolder.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

namespace TestSupport
{

namespace
{

/// Why there can be no such network here.
class Obstacle : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A thread that has left its namespaces cannot be used for anything else.
void InThread(const std::function<void()>& inside)
{
    std::exception_ptr problem;
    std::thread thread(
        [&]
        {
            try
            {
                inside();
            }
            catch (...)
            {
                problem = std::current_exception();
            }
        });
    thread.join();
    if (problem)
    {
        std::rethrow_exception(problem);
    }
}

void Require(bool holds, const std::string& what)
{
    if (!holds)
    {
        throw Obstacle(what + ": " + std::strerror(errno));
    }
}

void Command(const std::string& command)
{
    if (std::system((command + " 2>/dev/null").c_str()) != 0)
    {
        throw Obstacle("refused here: " + command);
    }
}

/// One machine of the network.
class Node
{
public:
    Node() : m_namespace(MakeNamespace(), "a network namespace")
    {
    }

    void In(const std::function<void()>& inside) const
    {
        InThread(
            [&]
            {
                Require(::setns(m_namespace.Get(), CLONE_NEWNET) == 0, "entering a network namespace");
                inside();
            });
    }

    /// A new device of this machine.
    Descriptor MakeDevice(const std::string& name, const std::string& address) const
    {
        int device = -1;
        In(
            [&]
            {
                device = ::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
                Require(device >= 0, "/dev/net/tun");
                ifreq request = {};
                request.ifr_flags = IFF_TUN | IFF_NO_PI;
                name.copy(request.ifr_name, IFNAMSIZ - 1);
                Require(::ioctl(device, TUNSETIFF, &request) == 0, "a TUN device");
                Command("ip link set " + name + " up");
                Command("ip address add " + address + "/30 dev " + name);
            });
        return {device, "a TUN device"};
    }

private:
    static int MakeNamespace()
    {
        int result = -1;
        InThread(
            [&]
            {
                Require(::unshare(CLONE_NEWNET) == 0, "this user may not make a network namespace");
                result = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
                Require(result >= 0, "a network namespace");
                Command("ip link set lo up");
                // Otherwise a router that is asked for many answers soon gives none.
                Command("echo 0 > /proc/sys/net/ipv4/icmp_ratelimit");
                Command("echo 1 > /proc/sys/net/ipv4/ip_forward");
            });
        return result;
    }

    Descriptor m_namespace;
};

} // namespace

struct RoutedNetwork::Parts
{
    Node client;
    Node first;
    Node second;
    Node server;
    std::vector<Descriptor> devices;
    TemporaryFolder folder;
    std::unique_ptr<LinkEmulator> emulator;

    void Wire(const std::array<LinkSettings, Links>& settings)
    {
        devices.push_back(client.MakeDevice("forth", "10.90.1.1"));
        devices.push_back(first.MakeDevice("back", "10.90.1.2"));
        devices.push_back(first.MakeDevice("forth", "10.90.2.1"));
        devices.push_back(second.MakeDevice("back", "10.90.2.2"));
        devices.push_back(second.MakeDevice("forth", "10.90.3.1"));
        devices.push_back(server.MakeDevice("back", "10.90.3.2"));
        std::vector<LinkEmulator::Link> links;
        for (std::size_t i = 0; i < Links; ++i)
        {
            links.push_back({devices[2 * i].Get(), devices[2 * i + 1].Get(), settings[i]});
        }
        emulator = std::make_unique<LinkEmulator>(links);
    }

    void Route() const
    {
        client.In([] { Command("ip route add default via 10.90.1.2"); });
        first.In([] { Command("ip route add default via 10.90.2.2"); });
        second.In(
            []
            {
                Command("ip route add 10.90.1.0/30 via 10.90.2.1");
                Command("ip route add blackhole 10.90.99.0/24");
            });
        server.In([] { Command("ip route add default via 10.90.3.1"); });
    }

    /// Names are asked for at the server, and nobody else.
    void LayResolver() const
    {
        Require(::unshare(CLONE_FS | CLONE_NEWNS) == 0, "this user may not make a mount namespace");
        Require(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
        const std::string file = (folder.Path() / "resolv.conf").string();
        Require(::mount(file.c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) == 0, "an own resolv.conf");
    }
};

std::unique_ptr<RoutedNetwork> RoutedNetwork::Make(const std::array<LinkSettings, Links>& links, std::string& obstacle)
{
    try
    {
        auto parts = std::make_unique<Parts>();
        WriteFile(parts->folder.Path() / "resolv.conf", std::string("nameserver ") + Server + "\n");
        parts->Wire(links);
        parts->Route();
        parts->client.In([&] { parts->LayResolver(); });
        return std::unique_ptr<RoutedNetwork>(new RoutedNetwork(std::move(parts)));
    }
    catch (const Obstacle& found)
    {
        obstacle = found.what();
        return nullptr;
    }
}

RoutedNetwork::RoutedNetwork(std::unique_ptr<Parts> parts) : m_parts(std::move(parts))
{
}

RoutedNetwork::~RoutedNetwork() = default;

void RoutedNetwork::OnClient(const std::function<void()>& inside) const
{
    m_parts->client.In(
        [&]
        {
            m_parts->LayResolver();
            inside();
        });
}

void RoutedNetwork::OnServer(const std::function<void()>& inside) const
{
    m_parts->server.In(inside);
}

void RoutedNetwork::Change(std::size_t link, const LinkSettings& settings)
{
    m_parts->emulator->Change(link, settings);
}

LinkCounts RoutedNetwork::Counts(std::size_t link) const
{
    return m_parts->emulator->Counts(link);
}

} // namespace TestSupport
