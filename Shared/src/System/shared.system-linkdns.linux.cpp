#include "shared.system-linkdns.linux.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <memory>

#include <systemd/sd-bus.h>

#include "shared.time-clock.hpp"

#include <arpa/inet.h>

namespace Shared::System
{

namespace
{

const char* const Destination = "org.freedesktop.resolve1";
const char* const Path = "/org/freedesktop/resolve1";
const char* const Interface = "org.freedesktop.resolve1.Manager";

struct CloseBus
{
    void operator()(sd_bus* bus) const noexcept
    {
        // Without a flush, which would wait for a bus that hangs.
        ::sd_bus_close_unref(bus);
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

/// What becomes of the question.
struct Answer
{
    bool isThere = false;
    std::optional<LinkDnsServers> servers;
};

std::optional<IpAddress> ToAddress(std::int32_t family, const void* bytes, std::size_t size)
{
    const bool isIpV4 = family == AF_INET && size == sizeof(in_addr);
    const bool isIpV6 = family == AF_INET6 && size == sizeof(in6_addr);
    std::array<char, INET6_ADDRSTRLEN> text{};
    if ((!isIpV4 && !isIpV6) || ::inet_ntop(family, bytes, text.data(), text.size()) == nullptr)
    {
        return std::nullopt;
    }
    return IpAddress{isIpV4 ? AddressFamily::IpV4 : AddressFamily::IpV6, text.data()};
}

/// One server: the index of its adapter, its family and its bytes. 0 at the end of the list, negative on failure.
int ReadServer(sd_bus_message* message, LinkDnsServers& servers)
{
    const int entered = ::sd_bus_message_enter_container(message, SD_BUS_TYPE_STRUCT, "iiay");
    if (entered <= 0)
    {
        return entered;
    }
    std::int32_t index = 0;
    std::int32_t family = 0;
    const void* bytes = nullptr;
    std::size_t size = 0;
    int result = ::sd_bus_message_read(message, "ii", &index, &family);
    if (result >= 0)
    {
        result = ::sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &bytes, &size);
    }
    if (result < 0)
    {
        return result;
    }
    auto address = ToAddress(family, bytes, size);
    if (address && index >= 0)
    {
        servers[static_cast<std::uint32_t>(index)].push_back(*std::move(address));
    }
    result = ::sd_bus_message_exit_container(message);
    return result < 0 ? result : 1;
}

std::optional<LinkDnsServers> ReadServers(sd_bus_message* message)
{
    if (::sd_bus_message_is_method_error(message, nullptr) != 0 ||
        ::sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, "a(iiay)") <= 0 ||
        ::sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "(iiay)") <= 0)
    {
        return std::nullopt;
    }
    LinkDnsServers servers;
    int result = 1;
    while (result > 0)
    {
        result = ReadServer(message, servers);
    }
    return result == 0 ? std::optional{std::move(servers)} : std::nullopt;
}

int OnAnswer(sd_bus_message* message, void* context, sd_bus_error* /*error*/)
{
    auto& answer = *static_cast<Answer*>(context);
    answer.isThere = true;
    answer.servers = ReadServers(message);
    return 0;
}

bool SendQuestion(sd_bus* bus, Answer& answer)
{
    sd_bus_message* raw = nullptr;
    const int created =
        ::sd_bus_message_new_method_call(bus, &raw, Destination, Path, "org.freedesktop.DBus.Properties", "Get");
    const Message question{raw};
    return created >= 0 && ::sd_bus_message_append(raw, "ss", Interface, "DNS") >= 0 &&
        ::sd_bus_message_set_auto_start(raw, 0) >= 0 &&
        ::sd_bus_call_async(bus, nullptr, raw, &OnAnswer, &answer, 0) >= 0;
}

/// Works on the connection until the answer has come. Every call that this rests on returns at once or has a limit, which
/// those that wait for an answer themselves do not have while the connection is being made.
void AwaitAnswer(sd_bus* bus, const Answer& answer, std::chrono::nanoseconds deadline)
{
    while (!answer.isThere)
    {
        const int worked = ::sd_bus_process(bus, nullptr);
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Time::RealMonotonicNow()).count();
        if (worked < 0 || left <= 0)
        {
            return;
        }
        if (worked == 0)
        {
            const int waited = ::sd_bus_wait(bus, static_cast<std::uint64_t>(left));
            if (waited < 0 && waited != -EINTR)
            {
                return;
            }
        }
    }
}

} // namespace

std::optional<LinkDnsServers> QueryLinkDnsServers(std::chrono::nanoseconds limit)
{
    const auto deadline = Time::RealMonotonicNow() + limit;
    Answer answer;
    sd_bus* raw = nullptr;
    if (::sd_bus_open_system(&raw) < 0)
    {
        return std::nullopt;
    }
    const Bus bus{raw};
    if (SendQuestion(raw, answer))
    {
        AwaitAnswer(raw, answer, deadline);
    }
    return std::move(answer.servers);
}

} // namespace Shared::System
