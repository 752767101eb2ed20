#include "lab.control-connectorfile.hpp"

#include "lab.json-functions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fmt/format.h>

namespace Lab::Control
{

namespace
{

using std::chrono::milliseconds;

rapidjson::Value Copy(std::string_view text, rapidjson::Document& document)
{
    return {text.data(), static_cast<rapidjson::SizeType>(text.size()), document.GetAllocator()};
}

Net::Endpoint ReadEndpoint(const rapidjson::Value& value, std::string_view what)
{
    if (!value.IsString())
    {
        throw std::runtime_error(fmt::format("the place of {} is no text", what));
    }
    try
    {
        return Net::ParseEndpoint({value.GetString(), value.GetStringLength()});
    }
    catch (const std::invalid_argument& problem)
    {
        throw std::runtime_error(fmt::format("the place of {}: {}", what, problem.what()));
    }
}

} // namespace

std::optional<Net::Endpoint> ConnectorFile::FindServer(std::string_view name) const
{
    const auto found = servers.find(Shared::Util::ToLower(name));
    return found == servers.end() ? std::nullopt : std::optional(found->second);
}

std::string ToText(const ConnectorFile& file)
{
    rapidjson::Document document(rapidjson::kObjectType);
    auto& allocator = document.GetAllocator();
    rapidjson::Value servers(rapidjson::kObjectType);
    for (const auto& [name, endpoint] : file.servers)
    {
        servers.AddMember(Copy(name, document), Copy(Net::ToText(endpoint), document), allocator);
    }
    document.AddMember("servers", servers, allocator);
    if (file.control)
    {
        document.AddMember("control", Copy(Net::ToText(*file.control), document), allocator);
    }
    document.AddMember("reconnectDelayMs", static_cast<std::int64_t>(file.reconnectDelay.count()), allocator);
    return Json::ToPrettyText(document) + "\n";
}

ConnectorFile ParseConnectorFile(std::string_view text)
{
    ConnectorFile file;
    const rapidjson::Document document = Json::Parse(text);
    const rapidjson::Value* const servers = Json::FindMember(document, "servers");
    if (servers == nullptr || !servers->IsObject())
    {
        throw std::runtime_error("there is no object \"servers\"");
    }
    for (const auto& entry : servers->GetObject())
    {
        const std::string name(entry.name.GetString(), entry.name.GetStringLength());
        file.servers[Shared::Util::ToLower(name)] = ReadEndpoint(entry.value, fmt::format("the server {}", name));
    }
    if (const rapidjson::Value* const control = Json::FindMember(document, "control"))
    {
        file.control = ReadEndpoint(*control, "the laboratory");
    }
    constexpr std::uint64_t LongestDelayMs = 3'600'000;
    const std::uint64_t delay =
        Json::CountMember(document, "reconnectDelayMs", static_cast<std::uint64_t>(file.reconnectDelay.count()));
    file.reconnectDelay = milliseconds(static_cast<std::int64_t>(std::min(delay, LongestDelayMs)));
    return file;
}

ConnectorFile ReadConnectorFile(const std::filesystem::path& folder)
{
    const std::filesystem::path path = folder / ConnectorFileName;
    std::ifstream stream(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (!stream)
    {
        throw std::runtime_error(fmt::format("cannot read {}", path.string()));
    }
    try
    {
        return ParseConnectorFile(text);
    }
    catch (const std::runtime_error& problem)
    {
        throw std::runtime_error(fmt::format("{}: {}", path.string(), problem.what()));
    }
}

void WriteConnectorFile(const std::filesystem::path& folder, const ConnectorFile& file)
{
    const std::filesystem::path path = folder / ConnectorFileName;
    const std::filesystem::path fresh = folder / "connector.json.new";
    std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
    stream << ToText(file);
    stream.close();
    std::error_code error;
    std::filesystem::rename(fresh, path, error);
    if (!stream || error)
    {
        throw std::runtime_error(fmt::format("cannot write {}: {}", path.string(), error.message()));
    }
}

} // namespace Lab::Control
