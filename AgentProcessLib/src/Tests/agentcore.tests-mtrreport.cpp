#include "agentcore.tests-mtrreport.hpp"

#include "agentcore.tests-plainjson.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"

#include <optional>
#include <utility>

namespace AgentCore::Tests
{

namespace
{

using Shared::Json::RapidJsonDocument;

constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

RapidJsonDocument Number(std::int64_t value)
{
    return RapidJsonDocument(std::to_string(value));
}

void SetFacts(const PathTestFacts& facts, MtrTestResult& result)
{
    result.set_start_time(static_cast<std::int32_t>(facts.startTime));
    result.set_network_object_uuid(facts.networkObjectUuid);
    result.set_mtr_config_uuid(facts.mtrConfigUuid);
    result.set_index(static_cast<std::int32_t>(facts.index));
    result.set_server_type(facts.serverType);
}

/// By the library.
MtrTestResult Convert(std::string_view json)
{
    MtrTestResult result;
    if (!Shared::Protobuf::TryParseJSON(json, result, Shared::Protobuf::UnknownFields::Ignore))
    {
        throw Shared::Exception::RuntimeException("Failed to JSON serialise an MTR result");
    }
    return result;
}

std::optional<MtrTestResult> ReadPlain(const RapidJsonDocument& document)
{
    MtrTestResult result;
    return ReadPlainJson(document.GetRoot(), result) ? std::optional(std::move(result)) : std::nullopt;
}

std::optional<MtrTestResult> ReadPlain(std::string_view output)
{
    // A mark is nothing that the library takes.
    if (output.starts_with(ByteOrderMark))
    {
        return std::nullopt;
    }
    try
    {
        return ReadPlain(RapidJsonDocument(output));
    }
    catch (const Shared::Exception::RuntimeException&)
    {
        return std::nullopt;
    }
}

} // namespace

MtrTestResult ReadMtrReport(std::string_view output, const PathTestFacts& facts)
{
    RapidJsonDocument document(output);
    if (auto result = ReadPlain(document))
    {
        SetFacts(facts, *result);
        return *std::move(result);
    }
    document.Add("startTime", Number(static_cast<std::int32_t>(facts.startTime)));
    document.Add("networkObjectUuid", facts.networkObjectUuid);
    document.Add("mtrConfigUuid", facts.mtrConfigUuid);
    document.Add("index", Number(static_cast<std::int32_t>(facts.index)));
    document.Add("serverType", Number(facts.serverType));
    return Convert(document.GetJsonText());
}

MtrTestResult ReadBmtrReport(std::string_view output, const PathTestFacts& facts)
{
    auto plain = ReadPlain(output);
    MtrTestResult result = plain ? *std::move(plain) : Convert(output);
    SetFacts(facts, result);
    return result;
}

} // namespace AgentCore::Tests
