// What listing the network interfaces costs over the bare dumps of the kernel's tables, in a network that has as many
// interfaces as the argument says, each with an address; the machine's first interface has a gateway. Where no network
// can be made, nothing is measured.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <libmnl/libmnl.h>

#include "agentcore.system-networkingquerier.hpp"
#include "bench.ratio.hpp"

#include <linux/rtnetlink.h>
#include <sched.h>
#include <sys/mount.h>

using namespace AgentCore::System;

namespace
{

/// Leaves the network of before for a new one with `count` interfaces that are up: ends of cables.
bool LayOut(std::int64_t count)
{
    if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("sysfs", "/sys", "sysfs", 0, nullptr) != 0)
    {
        return false;
    }
    const auto cables = std::to_string(count / 2);
    const auto commands = "for i in $(seq " + cables + "); do echo \"link add vela$i type veth peer name velb$i\n" +
        "link set vela$i up\nlink set velb$i up\naddress add 10.9.$i.1/24 dev vela$i\naddress add 10.8.$i.1/24 dev velb$i\"" +
        "; done | ip -batch - && ip route add default via 10.9.1.2";
    return std::system(commands.c_str()) == 0;
}

/// One dump by the library alone, each message looked at as far as its kind.
std::size_t Dump(std::uint16_t type, std::size_t headerSize)
{
    std::vector<char> buffer(32768);
    auto* const socket = mnl_socket_open(NETLINK_ROUTE);
    mnl_socket_bind(socket, 0, MNL_SOCKET_AUTOPID);
    auto* const request = mnl_nlmsg_put_header(buffer.data());
    request->nlmsg_type = type;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request->nlmsg_seq = 1;
    mnl_nlmsg_put_extra_header(request, headerSize);
    mnl_socket_sendto(socket, request, request->nlmsg_len);
    std::size_t messages = 0;
    int result = MNL_CB_OK;
    while (result > MNL_CB_STOP)
    {
        const auto size = mnl_socket_recvfrom(socket, buffer.data(), buffer.size());
        result = mnl_cb_run(
            buffer.data(), static_cast<std::size_t>(size), 1, mnl_socket_get_portid(socket),
            [](const nlmsghdr*, void* count)
            {
                ++*static_cast<std::size_t*>(count);
                return MNL_CB_OK;
            },
            &messages);
    }
    mnl_socket_close(socket);
    return messages;
}

void ListInterfaces(benchmark::State& state)
{
    const auto count = state.range(0);
    NetworkingQuerier querier;
    if (!LayOut(count))
    {
        state.SkipWithError("no network of its own can be made here");
        return;
    }
    if (querier.GetNetworkInterfaces().size() != static_cast<std::size_t>(count))
    {
        state.SkipWithError("other interfaces than were made");
        return;
    }
    Bench::Compare(
        state, 10, [&querier] { benchmark::DoNotOptimize(querier.GetNetworkInterfaces()); },
        []
        {
            benchmark::DoNotOptimize(Dump(RTM_GETLINK, sizeof(ifinfomsg)));
            benchmark::DoNotOptimize(Dump(RTM_GETADDR, sizeof(ifaddrmsg)));
            benchmark::DoNotOptimize(Dump(RTM_GETROUTE, sizeof(rtmsg)));
        });
    state.counters["ours_ns_per_interface"] = state.counters["ours_ns"] / static_cast<double>(count);
}

} // namespace

BENCHMARK(ListInterfaces)->Arg(2)->Arg(8)->Arg(64)->UseManualTime();
