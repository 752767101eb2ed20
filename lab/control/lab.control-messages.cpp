#include "lab.control-messages.hpp"

#include "lab.json-functions.hpp"

#include <algorithm>
#include <array>
#include <limits>

#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Lab::Control
{

namespace
{

using std::chrono::milliseconds;
using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

struct OrderName
{
    OrderKind kind;
    std::string_view name;
};

constexpr std::array<OrderName, 6> OrderNames = {
    {{OrderKind::Hang, "hang"},
     {OrderKind::Garble, "garble"},
     {OrderKind::Trickle, "trickle"},
     {OrderKind::Fragment, "fragment"},
     {OrderKind::ExitAtStart, "exit-at-start"},
     {OrderKind::NeverConnect, "never-connect"}}};

void Put(Writer& writer, std::string_view name, std::string_view text)
{
    writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void Put(Writer& writer, std::string_view name, std::uint64_t number)
{
    writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    writer.Uint64(number);
}

template <typename Fill>
std::string Write(Fill&& fill)
{
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    fill(writer);
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

void WriteOrder(Writer& writer, const Order& order)
{
    writer.StartObject();
    Put(writer, "order", NameOf(order.kind));
    Put(writer, "durationMs", static_cast<std::uint64_t>(order.duration.count()));
    Put(writer, "pauseMs", static_cast<std::uint64_t>(order.pause.count()));
    Put(writer, "count", order.count);
    Put(writer, "size", order.size);
    writer.Key("exitCode");
    writer.Int(order.exitCode);
    writer.EndObject();
}

rapidjson::Document ParseFrame(std::string_view frame)
{
    try
    {
        return Json::Parse(frame);
    }
    catch (const Json::JsonError& problem)
    {
        throw ControlError(fmt::format("a control message is no JSON: {}", problem.what()));
    }
}

milliseconds ReadSpan(const rapidjson::Value& object, std::string_view name)
{
    constexpr std::uint64_t LongestMs = std::numeric_limits<std::uint32_t>::max();
    return milliseconds(static_cast<std::int64_t>(std::min(Json::CountMember(object, name, 0), LongestMs)));
}

Order ReadOrder(const rapidjson::Value& object)
{
    const std::string name = Json::TextMember(object, "order");
    const auto found =
        std::find_if(OrderNames.begin(), OrderNames.end(), [&](const OrderName& known) { return known.name == name; });
    if (found == OrderNames.end())
    {
        throw ControlError(fmt::format("\"{}\" is no order", name));
    }
    Order order;
    order.kind = found->kind;
    order.duration = ReadSpan(object, "durationMs");
    order.pause = ReadSpan(object, "pauseMs");
    order.count = Json::CountMember(object, "count", 1);
    order.size = Json::CountMember(object, "size", 0);
    const rapidjson::Value* const exitCode = Json::FindMember(object, "exitCode");
    order.exitCode = exitCode != nullptr && exitCode->IsInt() ? exitCode->GetInt() : 0;
    return order;
}

} // namespace

std::string Encode(const Hello& hello)
{
    return Write(
        [&](Writer& writer)
        {
            Put(writer, "role", hello.role == Role::Link ? "link" : "control");
            if (hello.role == Role::Link)
            {
                Put(writer, "server", hello.server);
            }
            Put(writer, "process", hello.process);
        });
}

std::string Encode(const std::vector<Order>& orders)
{
    return Write(
        [&](Writer& writer)
        {
            writer.Key("orders");
            writer.StartArray();
            for (const Order& order : orders)
            {
                WriteOrder(writer, order);
            }
            writer.EndArray();
        });
}

std::string EncodeLine(std::string_view line)
{
    return Write([&](Writer& writer) { Put(writer, "line", line); });
}

Hello DecodeHello(std::string_view frame)
{
    const rapidjson::Document document = ParseFrame(frame);
    const std::string role = Json::TextMember(document, "role");
    if (role != "link" && role != "control")
    {
        throw ControlError(fmt::format("\"{}\" is no role: a stream is for \"link\" or for \"control\"", role));
    }
    Hello hello;
    hello.role = role == "link" ? Role::Link : Role::Control;
    hello.server = Json::TextMember(document, "server");
    hello.process = Json::CountMember(document, "process", 0);
    if (hello.role == Role::Link && hello.server.empty())
    {
        throw ControlError("a stream for the agent's messages must name its server");
    }
    return hello;
}

std::vector<Order> DecodeOrders(std::string_view frame)
{
    const rapidjson::Document document = ParseFrame(frame);
    const rapidjson::Value* const list = Json::FindMember(document, "orders");
    if (list == nullptr || !list->IsArray())
    {
        throw ControlError("a control message holds no list of orders");
    }
    std::vector<Order> orders;
    for (const rapidjson::Value& entry : list->GetArray())
    {
        orders.push_back(ReadOrder(entry));
    }
    return orders;
}

std::string DecodeLine(std::string_view frame)
{
    const rapidjson::Document document = ParseFrame(frame);
    const rapidjson::Value* const line = Json::FindMember(document, "line");
    if (line == nullptr || !line->IsString())
    {
        throw ControlError("a control message holds no line");
    }
    return {line->GetString(), line->GetStringLength()};
}

std::string_view NameOf(OrderKind kind) noexcept
{
    for (const OrderName& known : OrderNames)
    {
        if (known.kind == kind)
        {
            return known.name;
        }
    }
    return "unknown";
}

} // namespace Lab::Control
