// Any text as what curl prints. The figures are those of a second, straightforward reading of the members; the same content
// in another writing gives the same; what is translated keeps its promises.

#include "agentcore.tests-curlreport.hpp"
#include "fuzz.require.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
namespace Tests = AgentCore::Tests;
using Shared::Exception::RuntimeException;
using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonMember;

std::optional<Tests::CurlReport> Read(const std::string& text)
{
    try
    {
        return Tests::ReadCurlReport(text);
    }
    catch (const RuntimeException&)
    {
        return std::nullopt;
    }
}

/// The first member of the name, as a number.
double Find(const RapidJsonDocument& document, std::string_view name)
{
    for (const RapidJsonMember& member : document.GetRoot().GetMembers())
    {
        if (member.name == name)
        {
            const auto number = member.value.GetDouble();
            return number.HasValue() ? number.GetValue() : 0.0;
        }
    }
    return 0.0;
}

std::string Text(const Tests::CurlReport& report)
{
    return Tests::TranslateCurlReport(report, 0.5, {"3XX", "2XX"}).SerializeAsString() + report.remoteIp;
}

void CheckFigures(const RapidJsonDocument& document, const Tests::CurlReport& report)
{
    Require(report.timeNameLookup == Find(document, "time_namelookup"));
    Require(report.timeConnect == Find(document, "time_connect"));
    Require(report.timeAppConnect == Find(document, "time_appconnect"));
    Require(report.timePreTransfer == Find(document, "time_pretransfer"));
    Require(report.timeStartTransfer == Find(document, "time_starttransfer"));
    Require(report.timeTotal == Find(document, "time_total"));
    const double code = Find(document, "http_code");
    Require(code < 0.0 || code >= 4294967295.0 || report.httpCode == static_cast<std::uint32_t>(code));
}

void CheckTranslation(const Tests::CurlReport& report)
{
    const CurlTranslatedOutput output = Tests::TranslateCurlReport(report, 0.5, {"3XX", "2XX"});
    Require(output.tcp_handshake_time() >= 0.0 && output.ssl_handshake_time() >= 0.0);
    Require(output.wait_time() >= 0.0 && output.data_transfer_time() >= 0.0 && output.time_to_first_byte() >= 0.0);
    Require(output.success() == (report.httpCode >= 200 && report.httpCode < 400));
    Require(output.total_time() == report.timeTotal + 0.5);
    Require(output.throughput() >= output.speed_download());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto report = Read(text);
    std::optional<RapidJsonDocument> document;
    try
    {
        document.emplace(text);
    }
    catch (const RuntimeException&)
    {
        Require(!report);
        return 0;
    }
    Require(report.has_value());
    CheckFigures(*document, *report);
    CheckTranslation(*report);
    const auto again = Read(document->GetJsonText());
    Require(again && Text(*again) == Text(*report));
    return 0;
}
