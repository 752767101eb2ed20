#pragma once

#include "test.support-linkemulator.linux.hpp"

#include <array>
#include <functional>
#include <memory>
#include <string>

namespace TestSupport
{

/// A network of its own: a client, two routers and a server in a row, each in a network namespace of its own.
///
///     client 10.90.1.1 --0-- 10.90.1.2 router 10.90.2.1 --1-- 10.90.2.2 router 10.90.3.1 --2-- 10.90.3.2 server
///
/// A packet from the client to the server passes the links 0, 1 and 2 forth. Routers answer as often as they are asked.
/// Packets to 10.90.99.0/24 get as far as the second router, which says nothing of them.
class RoutedNetwork
{
public:
    static constexpr std::size_t Links = 3;
    /// Who answers a client, from near to far; the last one is the server.
    static constexpr std::array<const char*, Links> Hops = {"10.90.1.2", "10.90.2.2", "10.90.3.2"};
    static constexpr const char* Server = Hops[2];
    /// Nobody answers there.
    static constexpr const char* Nowhere = "10.90.99.1";

    /// Null, with the obstacle, for a test to skip: the kernel or the user's rights do not allow it.
    static std::unique_ptr<RoutedNetwork> Make(const std::array<LinkSettings, Links>& links, std::string& obstacle);

    RoutedNetwork(const RoutedNetwork&) = delete;
    RoutedNetwork& operator=(const RoutedNetwork&) = delete;
    ~RoutedNetwork();

    /// Runs `inside` as on the client or the server, in a thread of its own, and waits for it; throws what it throws. What
    /// sockets it opens and what processes it starts belong there. There the server is who resolves names. Any thread.
    void OnClient(const std::function<void()>& inside) const;
    void OnServer(const std::function<void()>& inside) const;

    /// As those of the emulator.
    void Change(std::size_t link, const LinkSettings& settings);
    LinkCounts Counts(std::size_t link) const;

private:
    struct Parts;
    explicit RoutedNetwork(std::unique_ptr<Parts> parts);

    std::unique_ptr<Parts> m_parts;
};

} // namespace TestSupport
