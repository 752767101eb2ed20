#include "agentcore.tests-curlreport.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace AgentCore::Tests
{

namespace
{

using Shared::Exception::RuntimeException;
using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonValue;

constexpr std::uint64_t LargestCount = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t BitsOfAByte = 8;

constexpr std::array Times = {
    std::pair("time_namelookup", &CurlReport::timeNameLookup),
    std::pair("time_connect", &CurlReport::timeConnect),
    std::pair("time_appconnect", &CurlReport::timeAppConnect),
    std::pair("time_pretransfer", &CurlReport::timePreTransfer),
    std::pair("time_starttransfer", &CurlReport::timeStartTransfer),
    std::pair("time_total", &CurlReport::timeTotal)};

constexpr std::array Counts = {
    std::pair("size_download", &CurlReport::sizeDownload), std::pair("speed_download", &CurlReport::speedDownload),
    std::pair("http_code", &CurlReport::httpCode)};

struct CodeClass
{
    std::string_view name;
    std::uint32_t first;
    std::uint32_t end;
};

constexpr std::array CodeClasses = {CodeClass{"2XX", 200, 300}, CodeClass{"3XX", 300, 400}};

RapidJsonDocument Parse(std::string_view output)
{
    try
    {
        return RapidJsonDocument(output);
    }
    catch (const RuntimeException&)
    {
        throw RuntimeException(
            fmt::format("CurlTestRunner: rapidJSON encountered a parse error on JSON ==> {}", output));
    }
}

double ReadTime(const RapidJsonValue& value)
{
    const auto time = value.GetDouble();
    return time.HasValue() ? time.GetValue() : 0.0;
}

std::uint32_t ReadCount(const RapidJsonValue& value)
{
    const auto count = value.GetDouble();
    return count.HasValue()
        ? static_cast<std::uint32_t>(std::clamp(count.GetValue(), 0.0, static_cast<double>(LargestCount)))
        : 0;
}

bool IsSuccess(std::uint32_t code, const std::vector<std::string>& successCodes)
{
    const auto names = [code](const std::string& entry)
    {
        return std::ranges::any_of(
            CodeClasses,
            [&](const CodeClass& codes) { return entry == codes.name && code >= codes.first && code < codes.end; });
    };
    return std::ranges::any_of(successCodes, names);
}

double NotNegative(double time)
{
    return time > 0.0 ? time : 0.0;
}

} // namespace

CurlReport ReadCurlReport(std::string_view output)
{
    const RapidJsonDocument document = Parse(output);
    const RapidJsonValue root = document.GetRoot();
    CurlReport report;
    for (const auto& [name, field] : Times)
    {
        report.*field = ReadTime(root.GetMember(name));
    }
    for (const auto& [name, field] : Counts)
    {
        report.*field = ReadCount(root.GetMember(name));
    }
    const auto remoteIp = root.GetMember("remote_ip").GetString();
    report.remoteIp = remoteIp.HasValue() ? remoteIp.GetValue() : std::string();
    return report;
}

CurlTranslatedOutput TranslateCurlReport(
    const CurlReport& report, double apiDnsSeconds, const std::vector<std::string>& successCodes)
{
    const double tcp = report.timeConnect - report.timeNameLookup;
    const double ssl = report.timeAppConnect - report.timeConnect;
    const double wait = report.timeStartTransfer - report.timePreTransfer;
    const double transfer = report.timeTotal - report.timeStartTransfer;
    const double firstByte = report.timeNameLookup + tcp + ssl + wait;

    CurlTranslatedOutput translated;
    translated.set_time_namelookup(report.timeNameLookup + apiDnsSeconds);
    translated.set_time_connect(report.timeConnect);
    translated.set_time_appconnect(report.timeAppConnect);
    translated.set_time_pre_transfer(report.timePreTransfer);
    translated.set_time_start_transfer(report.timeStartTransfer);
    translated.set_total_time(report.timeTotal + apiDnsSeconds);
    translated.set_dns_lookup_time(report.timeNameLookup);
    translated.set_tcp_handshake_time(NotNegative(tcp));
    translated.set_ssl_handshake_time(NotNegative(ssl));
    translated.set_wait_time(NotNegative(wait));
    translated.set_data_transfer_time(NotNegative(transfer));
    translated.set_time_to_first_byte(NotNegative(firstByte));
    translated.set_wire_size(report.sizeDownload);
    translated.set_speed_download(report.speedDownload);
    translated.set_throughput(static_cast<std::uint32_t>(std::min(report.speedDownload * BitsOfAByte, LargestCount)));
    translated.set_http_code(report.httpCode);
    translated.set_success(IsSuccess(report.httpCode, successCodes));
    return translated;
}

} // namespace AgentCore::Tests
