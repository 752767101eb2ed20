#include "lab.json-functions.hpp"

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Lab::Json
{

namespace
{

constexpr unsigned ParseFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;

/// Passes on nothing, and stops the reader where the nesting becomes too deep.
class DepthGuard : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, DepthGuard>
{
public:
    bool StartObject()
    {
        return ++m_depth <= DeepestNesting;
    }

    bool EndObject(rapidjson::SizeType)
    {
        --m_depth;
        return true;
    }

    bool StartArray()
    {
        return ++m_depth <= DeepestNesting;
    }

    bool EndArray(rapidjson::SizeType)
    {
        --m_depth;
        return true;
    }

private:
    std::size_t m_depth = 0;
};

rapidjson::ParseResult Look(std::string_view text)
{
    rapidjson::MemoryStream bytes(text.data(), text.size());
    // The reader takes a null character for the end of the text; what stands behind it would go unseen.
    if (const std::size_t null = text.find('\0'); null != std::string_view::npos)
    {
        return {rapidjson::kParseErrorValueInvalid, null};
    }
    rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
    rapidjson::Reader reader;
    DepthGuard guard;
    return reader.Parse<ParseFlags>(stream, guard);
}

std::string Describe(std::string_view text, const rapidjson::ParseResult& result)
{
    const std::string_view before = text.substr(0, std::min(result.Offset(), text.size()));
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
    const std::string reason = result.Code() == rapidjson::kParseErrorTermination
        ? fmt::format("Nested deeper than {}.", DeepestNesting)
        : rapidjson::GetParseError_En(result.Code());
    return fmt::format("line {}, column {}: {}", line, column, reason);
}

/// As deep as the patch is nested.
void MergeInto(rapidjson::Value& target, const rapidjson::Value& patch, rapidjson::Document::AllocatorType& allocator)
{
    if (!patch.IsObject())
    {
        target.CopyFrom(patch, allocator);
        return;
    }
    if (!target.IsObject())
    {
        target.SetObject();
    }
    for (const auto& member : patch.GetObject())
    {
        if (member.value.IsNull())
        {
            (void)target.EraseMember(member.name);
            continue;
        }
        if (target.FindMember(member.name) == target.MemberEnd())
        {
            target.AddMember(rapidjson::Value(member.name, allocator), rapidjson::Value(), allocator);
        }
        MergeInto(target.FindMember(member.name)->value, member.value, allocator);
    }
}

} // namespace

rapidjson::Document Merge(const rapidjson::Value& target, const rapidjson::Value& patch)
{
    rapidjson::Document merged;
    merged.CopyFrom(target, merged.GetAllocator());
    MergeInto(merged, patch, merged.GetAllocator());
    return merged;
}

rapidjson::Document Parse(std::string_view text)
{
    if (const rapidjson::ParseResult result = Look(text); result.IsError())
    {
        throw JsonError(Describe(text, result));
    }
    rapidjson::Document document;
    document.Parse<ParseFlags>(text.data(), text.size());
    return document;
}

bool IsJson(std::string_view text)
{
    return !Look(text).IsError();
}

std::string ToText(const rapidjson::Value& value)
{
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string ToPrettyText(const rapidjson::Value& value)
{
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 2);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

const rapidjson::Value* FindMember(const rapidjson::Value& object, std::string_view name)
{
    if (!object.IsObject())
    {
        return nullptr;
    }
    const auto found = object.FindMember(
        rapidjson::Value(rapidjson::StringRef(name.data(), static_cast<rapidjson::SizeType>(name.size()))));
    return found == object.MemberEnd() ? nullptr : &found->value;
}

std::string TextMember(const rapidjson::Value& object, std::string_view name)
{
    const rapidjson::Value* const member = FindMember(object, name);
    return member != nullptr && member->IsString() ? std::string(member->GetString(), member->GetStringLength())
                                                   : std::string();
}

std::uint64_t CountMember(const rapidjson::Value& object, std::string_view name, std::uint64_t otherwise)
{
    const rapidjson::Value* const member = FindMember(object, name);
    return member != nullptr && member->IsUint64() ? member->GetUint64() : otherwise;
}

} // namespace Lab::Json
