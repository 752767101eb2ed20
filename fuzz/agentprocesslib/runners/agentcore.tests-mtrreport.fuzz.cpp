// Any text as what the path test tools print. What is read has the runner's facts, can be sent and received, and is what the
// protobuf library makes of it, for mtr with the facts added to the text; the same content in another writing gives the same.

#include "agentcore.tests-mtrreport.hpp"
#include "fuzz.require.hpp"
#include "fuzz.silence.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
namespace Tests = AgentCore::Tests;
using Shared::Exception::RuntimeException;
using Shared::Json::RapidJsonDocument;

const Tests::PathTestFacts& Facts()
{
    static const Tests::PathTestFacts s_facts{1'700'000'000, "object", "config", 3, VPN_GATEWAY};
    return s_facts;
}

using Reading = MtrTestResult (*)(std::string_view, const Tests::PathTestFacts&);

/// The message as bytes, or nothing.
std::optional<std::string> Run(Reading read, const std::string& text)
{
    try
    {
        const MtrTestResult result = read(text, Facts());
        Require(result.start_time() == 1'700'000'000 && result.network_object_uuid() == "object");
        Require(result.mtr_config_uuid() == "config" && result.index() == 3 && result.server_type() == VPN_GATEWAY);
        std::string bytes = result.SerializeAsString();
        MtrTestResult received;
        Require(received.ParseFromString(bytes) && received.SerializeAsString() == bytes);
        return bytes;
    }
    catch (const RuntimeException&)
    {
        return std::nullopt;
    }
}

std::optional<MtrTestResult> RunLibrary(const std::string& text)
{
    MtrTestResult result;
    if (!Shared::Protobuf::TryParseJSON(text, result, Shared::Protobuf::UnknownFields::Ignore))
    {
        return std::nullopt;
    }
    return result;
}

/// What the library makes of it, and the runner's facts.
std::optional<std::string> ReadThenAdd(const std::string& text)
{
    auto result = RunLibrary(text);
    if (!result)
    {
        return std::nullopt;
    }
    result->set_start_time(1'700'000'000);
    result->set_network_object_uuid("object");
    result->set_mtr_config_uuid("config");
    result->set_index(3);
    result->set_server_type(VPN_GATEWAY);
    return result->SerializeAsString();
}

/// What it makes of the text with the facts.
std::optional<std::string> AddThenRead(RapidJsonDocument& document)
{
    try
    {
        document.Add("startTime", RapidJsonDocument("1700000000"));
        document.Add("networkObjectUuid", "object");
        document.Add("mtrConfigUuid", "config");
        document.Add("index", RapidJsonDocument("3"));
        document.Add("serverType", RapidJsonDocument(std::to_string(VPN_GATEWAY)));
    }
    catch (const RuntimeException&)
    {
        return std::nullopt;
    }
    const auto result = RunLibrary(document.GetJsonText());
    return result ? std::optional(result->SerializeAsString()) : std::nullopt;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Fuzz::Silence s_silence;
    const std::string text(reinterpret_cast<const char*>(data), size);
    Require(Run(&Tests::ReadBmtrReport, text) == ReadThenAdd(text));
    const auto mtr = Run(&Tests::ReadMtrReport, text);
    try
    {
        RapidJsonDocument document(text);
        Require(mtr == Run(&Tests::ReadMtrReport, document.GetJsonText()));
        Require(mtr == AddThenRead(document));
    }
    catch (const RuntimeException&)
    {
        Require(!mtr);
    }
    return 0;
}
