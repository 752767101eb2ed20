#include "shared.system-linkdns.linux.hpp"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include "shared.time-clock.hpp"
#include "test.support-temporaryfolder.hpp"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

using namespace Shared::System;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Pair;

const char* const BusVariable = "DBUS_SYSTEM_BUS_ADDRESS";

/// A message bus for one client, with a resolver on it, in a thread of this process, and the environment turned towards it
/// until destruction. One at a time.
class FakeBus
{
public:
    enum class Manner
    {
        Answers,
        /// Takes the connection and says nothing, as a bus that hangs.
        IsSilent,
        /// Lets the client join and never answers its question.
        JoinsOnly
    };
    /// Fills in the reply to the question for the servers; gives a negative errno on failure.
    using Reply = std::function<int(sd_bus_message* question)>;

    explicit FakeBus(Reply reply, Manner manner = Manner::Answers) : m_reply(std::move(reply)), m_manner(manner)
    {
        const auto path = (m_folder.Path() / "bus").string();
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof(address.sun_path))
        {
            throw std::runtime_error("the temporary folder's name is too long for a socket");
        }
        std::memcpy(address.sun_path, path.c_str(), path.size());
        m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
            ::listen(m_listener, 1) != 0)
        {
            throw std::runtime_error("no socket");
        }
        if (const char* const before = std::getenv(BusVariable))
        {
            m_addressBefore = before;
        }
        ::setenv(BusVariable, ("unix:path=" + path).c_str(), 1);
        m_thread = std::thread{[this]
                               {
                                   Serve();
                               }};
    }

    FakeBus(const FakeBus&) = delete;
    FakeBus& operator=(const FakeBus&) = delete;

    ~FakeBus()
    {
        m_isStopping = true;
        m_thread.join();
        ::close(m_listener);
        if (m_addressBefore)
        {
            ::setenv(BusVariable, m_addressBefore->c_str(), 1);
        }
        else
        {
            ::unsetenv(BusVariable);
        }
    }

    /// What was asked: destination, interface and property, and whether asking may have started the resolver.
    std::vector<std::string> Questions() const
    {
        const std::lock_guard lock{m_lock};
        return m_questions;
    }

private:
    static constexpr int StepMs = 10;

    int Accept() const
    {
        while (!m_isStopping)
        {
            pollfd waiting{m_listener, POLLIN, 0};
            if (::poll(&waiting, 1, StepMs) > 0)
            {
                return ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            }
        }
        return -1;
    }

    void Serve()
    {
        const int client = Accept();
        if (client < 0)
        {
            return;
        }
        if (m_manner == Manner::IsSilent)
        {
            while (!m_isStopping)
            {
                Shared::Time::SleepFor(std::chrono::milliseconds{StepMs});
            }
            ::close(client);
            return;
        }
        sd_bus* bus = nullptr;
        sd_id128_t id{};
        ::sd_id128_randomize(&id);
        ::sd_bus_new(&bus);
        ::sd_bus_set_fd(bus, client, client);
        ::sd_bus_set_server(bus, 1, id);
        ::sd_bus_set_anonymous(bus, 1);
        ::sd_bus_start(bus);
        ::sd_bus_add_filter(bus, nullptr, &FakeBus::OnMessage, this);
        while (!m_isStopping && ::sd_bus_process(bus, nullptr) >= 0)
        {
            ::sd_bus_wait(bus, static_cast<std::uint64_t>(StepMs) * 1000);
        }
        ::sd_bus_flush_close_unref(bus);
    }

    static int OnMessage(sd_bus_message* message, void* self, sd_bus_error* /*error*/)
    {
        auto& bus = *static_cast<FakeBus*>(self);
        if (::sd_bus_message_is_method_call(message, "org.freedesktop.DBus", "Hello") > 0)
        {
            return ::sd_bus_reply_method_return(message, "s", ":1.1");
        }
        if (::sd_bus_message_is_method_call(message, "org.freedesktop.DBus.Properties", "Get") <= 0)
        {
            return 0;
        }
        const char* interface = nullptr;
        const char* property = nullptr;
        ::sd_bus_message_read(message, "ss", &interface, &property);
        const std::lock_guard lock{bus.m_lock};
        bus.m_questions = {::sd_bus_message_get_destination(message), interface, property};
        bus.m_questions.emplace_back(
            ::sd_bus_message_get_auto_start(message) != 0 ? "may start it" : "leaves it alone");
        return bus.m_manner == Manner::JoinsOnly ? 1 : bus.m_reply(message);
    }

    TestSupport::TemporaryFolder m_folder;
    Reply m_reply;
    Manner m_manner;
    int m_listener = -1;
    std::optional<std::string> m_addressBefore;
    mutable std::mutex m_lock;
    std::vector<std::string> m_questions;
    std::atomic<bool> m_isStopping = false;
    std::thread m_thread;
};

struct Server
{
    std::int32_t index;
    std::int32_t family;
    std::vector<unsigned char> bytes;
};

FakeBus::Reply List(std::vector<Server> servers)
{
    return [servers = std::move(servers)](sd_bus_message* question)
    {
        sd_bus_message* reply = nullptr;
        ::sd_bus_message_new_method_return(question, &reply);
        ::sd_bus_message_open_container(reply, 'v', "a(iiay)");
        ::sd_bus_message_open_container(reply, 'a', "(iiay)");
        for (const auto& server : servers)
        {
            ::sd_bus_message_open_container(reply, 'r', "iiay");
            ::sd_bus_message_append(reply, "ii", server.index, server.family);
            ::sd_bus_message_append_array(reply, 'y', server.bytes.data(), server.bytes.size());
            ::sd_bus_message_close_container(reply);
        }
        ::sd_bus_message_close_container(reply);
        ::sd_bus_message_close_container(reply);
        const int sent = ::sd_bus_send(nullptr, reply, nullptr);
        ::sd_bus_message_unref(reply);
        return sent < 0 ? sent : 1;
    };
}

constexpr auto Limit = 20s;

TEST(LinkDnsTest, ListsTheServersOfEachLinkInOrder)
{
    std::vector<unsigned char> ipV6(16, 0);
    ipV6[0] = 0xFD;
    ipV6[15] = 0x53;
    const FakeBus bus{List(
        {{3, AF_INET, {10, 1, 0, 53}}, {2, AF_INET6, ipV6}, {3, AF_INET, {10, 1, 0, 1}}, {0, AF_INET, {9, 9, 9, 9}}})};
    const auto servers = QueryLinkDnsServers(Limit);
    ASSERT_TRUE(servers.has_value());
    EXPECT_THAT(
        *servers,
        ElementsAre(
            Pair(0, ElementsAre(IpAddress{AddressFamily::IpV4, "9.9.9.9"})),
            Pair(2, ElementsAre(IpAddress{AddressFamily::IpV6, "fd00::53"})),
            Pair(
                3,
                ElementsAre(IpAddress{AddressFamily::IpV4, "10.1.0.53"}, IpAddress{AddressFamily::IpV4, "10.1.0.1"}))));
    EXPECT_THAT(
        bus.Questions(),
        ElementsAre("org.freedesktop.resolve1", "org.freedesktop.resolve1.Manager", "DNS", "leaves it alone"));
}

TEST(LinkDnsTest, AResolverWithoutServersHasAnEmptyList)
{
    const FakeBus bus{List({})};
    const auto servers = QueryLinkDnsServers(Limit);
    ASSERT_TRUE(servers.has_value());
    EXPECT_TRUE(servers->empty());
}

TEST(LinkDnsTest, WhatIsNoAddressIsPassedOver)
{
    const FakeBus bus{List(
        {{3, AF_INET, {10, 1, 0}},
         {3, AF_INET6, {10, 1, 0, 53}},
         {3, 77, {10, 1, 0, 53}},
         {-1, AF_INET, {1, 1, 1, 1}},
         {3, AF_INET, {8, 8, 8, 8}}})};
    const auto servers = QueryLinkDnsServers(Limit);
    ASSERT_TRUE(servers.has_value());
    EXPECT_THAT(*servers, ElementsAre(Pair(3, ElementsAre(IpAddress{AddressFamily::IpV4, "8.8.8.8"}))));
}

TEST(LinkDnsTest, AnAnswerOfAnotherFormIsNone)
{
    const FakeBus bus{[](sd_bus_message* question)
                      {
                          return ::sd_bus_reply_method_return(question, "v", "s", "10.1.0.53");
                      }};
    EXPECT_FALSE(QueryLinkDnsServers(Limit).has_value());
}

TEST(LinkDnsTest, ARefusalIsNoAnswer)
{
    const FakeBus bus{
        [](sd_bus_message* question)
        {
            return ::sd_bus_reply_method_errorf(question, "org.freedesktop.DBus.Error.NameHasNoOwner", "no resolver");
        }};
    EXPECT_FALSE(QueryLinkDnsServers(Limit).has_value());
}

TEST(LinkDnsTest, ABusThatHangsIsLeftWhenTheTimeIsOver)
{
    for (const auto manner : {FakeBus::Manner::IsSilent, FakeBus::Manner::JoinsOnly})
    {
        const FakeBus bus{List({}), manner};
        const auto start = Shared::Time::RealMonotonicNow();
        EXPECT_FALSE(QueryLinkDnsServers(100ms).has_value());
        EXPECT_GE(Shared::Time::RealMonotonicNow() - start, 100ms);
    }
}

TEST(LinkDnsTest, WithoutABusThereIsNoAnswer)
{
    const char* const before = std::getenv(BusVariable);
    const std::string kept = before == nullptr ? "" : before;
    ::setenv(BusVariable, "unix:path=/nonexistent/bus", 1);
    EXPECT_FALSE(QueryLinkDnsServers(Limit).has_value());
    before == nullptr ? ::unsetenv(BusVariable) : ::setenv(BusVariable, kept.c_str(), 1);
}

} // namespace
