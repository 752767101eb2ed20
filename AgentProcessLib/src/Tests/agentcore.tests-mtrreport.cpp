#include "agentcore.tests-mtrreport.hpp"

#include "agentcore.tests-plainjson.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"

#include <string>

namespace AgentCore::Tests
{

namespace
{

using Shared::Json::RapidJsonDocument;

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

MtrTestResult Convert(std::string_view json)
{
    MtrTestResult result;
    if (!Shared::Protobuf::TryParseJSON(json, result, Shared::Protobuf::UnknownFields::Ignore))
    {
        throw Shared::Exception::RuntimeException("Failed to JSON serialise an MTR result");
    }
    return result;
}

} // namespace

MtrTestResult ReadMtrReport(std::string_view output, const PathTestFacts& facts)
{
    RapidJsonDocument document(output);
    // What the tool prints day by day; anything else is worth the library's time.
    if (MtrTestResult result; ReadPlainJson(document.GetRoot(), result))
    {
        SetFacts(facts, result);
        return result;
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
    MtrTestResult result = Convert(output);
    SetFacts(facts, result);
    return result;
}

} // namespace AgentCore::Tests
