#include "tools.velexplain-answers.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <ios>
#include <system_error>

#include <fmt/format.h>
#include <rapidjson/encodedstream.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include "shared.json-rapidjsondocument.hpp"
#include "tools.velexplain-journal.hpp"

namespace Tools::VelExplain
{

namespace
{

/// Where the parser stops, and why; empty for a text that it takes.
std::string FindFault(std::string_view text)
{
    rapidjson::MemoryStream bytes(text.data(), text.size());
    rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
    rapidjson::Reader reader;
    rapidjson::BaseReaderHandler<> nobody;
    const auto result =
        reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream, nobody);
    if (!result.IsError())
    {
        return {};
    }
    const auto before = text.substr(0, std::min(result.Offset(), text.size()));
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const auto column = before.size() - (before.rfind('\n') + 1) + 1;
    return fmt::format(": line {}, column {}: {}", line, column, rapidjson::GetParseError_En(result.Code()));
}

} // namespace

std::filesystem::path ToPath(const std::string& text)
{
    return std::u8string(text.begin(), text.end());
}

std::string ToText(const std::filesystem::path& path)
{
    const auto text = path.generic_u8string();
    return {text.begin(), text.end()};
}

std::string ReadInput(const std::filesystem::path& file)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored))
    {
        throw InputError(ToText(file) + ": is a folder, and a file is wanted");
    }
    // What has no size, as a pipe, is measured while it is read.
    const auto size = std::filesystem::file_size(file, ignored);
    bool isTooLarge = !ignored && size > LargestFile;
    std::ifstream stream(file, std::ios::binary);
    std::string text;
    std::array<char, 65536> piece{};
    while (stream && !isTooLarge)
    {
        stream.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        text.append(piece.data(), static_cast<std::size_t>(stream.gcount()));
        isTooLarge = text.size() > LargestFile;
    }
    if (isTooLarge)
    {
        throw InputError(fmt::format("{}: is larger than {} MB", ToText(file), LargestFile >> 20U));
    }
    if (!stream.eof() || stream.bad())
    {
        throw InputError(ToText(file) + ": cannot be read");
    }
    return text;
}

void RequireJson(std::string_view text, const std::string& source)
{
    try
    {
        const Shared::Json::RapidJsonDocument document(text);
    }
    catch (const std::runtime_error&)
    {
        // What the agent says of it holds the whole text, and not where the fault is.
        throw InputError(fmt::format("{}: is no JSON{}", source, FindFault(text)));
    }
}

Answers GatherAnswers(const Options& options)
{
    Answers answers;
    if (options.results)
    {
        answers = ReadResults(ToPath(*options.results));
    }
    for (const auto& [request, file] : options.files)
    {
        answers.byRequest[request] = {file, ReadInput(ToPath(file))};
    }
    for (const auto& [request, answer] : answers.byRequest)
    {
        RequireJson(answer.text, answer.source);
    }
    return answers;
}

} // namespace Tools::VelExplain
