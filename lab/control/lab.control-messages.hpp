#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// What the connector and the laboratory say to each other beside the agent's messages: the first frame of each TCP stream,
// and the frames of the stream for orders. All of them are JSON objects:
//
//   {"role":"link","server":"cloud.lab.example","process":4711}    first frame of a stream for the agent's messages
//   {"role":"control","process":4711}                              first frame of a stream for orders
//   {"orders":[{"order":"hang","durationMs":5000}]}                to the connector; the first one comes at once, for its
//                                                                  start, and may be empty
//   {"line":"[info] ..."}                                          from the connector: a line of its log

namespace Lab::Control
{

enum class Role
{
    Link,
    Control
};

struct Hello
{
    Role role = Role::Link;
    /// The server that the connector wants to reach; empty for Role::Control.
    std::string server;
    std::uint64_t process = 0;

    bool operator==(const Hello&) const = default;
};

/// How a connector misbehaves when it is told to.
enum class OrderKind
{
    /// Neither reads nor writes, and does not look at its stop event, for `duration`; for good when that is zero.
    Hang,
    /// Sends the agent `count` pipe messages of `size` bytes that are no envelopes.
    Garble,
    /// Sends the agent `count` small, good envelopes with `pause` between them.
    Trickle,
    /// Gives its frames to the cloud in bites of `size` bytes with `pause` between them, for `duration`; for good when
    /// that is zero.
    Fragment,
    /// At its start: ends with `exitCode`.
    ExitAtStart,
    /// At its start: opens no pipe, and waits to be stopped.
    NeverConnect
};

struct Order
{
    OrderKind kind = OrderKind::Hang;
    std::chrono::milliseconds duration{0};
    std::chrono::milliseconds pause{0};
    std::uint64_t count = 1;
    std::uint64_t size = 0;
    std::int32_t exitCode = 0;

    bool operator==(const Order&) const = default;
};

/// A frame is no message of this kind; what() says why.
class ControlError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

std::string Encode(const Hello& hello);
std::string Encode(const std::vector<Order>& orders);
std::string EncodeLine(std::string_view line);

/// Throw ControlError.
Hello DecodeHello(std::string_view frame);
std::vector<Order> DecodeOrders(std::string_view frame);
std::string DecodeLine(std::string_view frame);

/// The name of an order on the wire and in the connector's log.
std::string_view NameOf(OrderKind kind) noexcept;

} // namespace Lab::Control
