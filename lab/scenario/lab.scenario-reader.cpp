#include "lab.scenario-reader.hpp"

#include "lab.json-functions.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <utility>

#include <fmt/format.h>

namespace Lab
{

namespace
{

std::string_view KindOf(const rapidjson::Value& value) noexcept
{
    switch (value.GetType())
    {
    case rapidjson::kNullType:
        return "null";
    case rapidjson::kFalseType:
    case rapidjson::kTrueType:
        return "true or false";
    case rapidjson::kObjectType:
        return "an object";
    case rapidjson::kArrayType:
        return "a list";
    case rapidjson::kStringType:
        return "a text";
    case rapidjson::kNumberType:
        return "a number";
    }
    return "something";
}

std::string_view NameOf(ValueKind kind) noexcept
{
    switch (kind)
    {
    case ValueKind::Text:
        return "a text";
    case ValueKind::Flag:
        return "true or false";
    case ValueKind::Number:
        return "a number";
    case ValueKind::Count:
        return "a whole number";
    case ValueKind::TextList:
        return "a list of texts";
    case ValueKind::ObjectList:
        return "a list of objects";
    case ValueKind::Object:
    case ValueKind::AnyObject:
        return "an object";
    case ValueKind::TextOrObject:
        return "a text or an object";
    }
    return "something else";
}

bool IsWhole(const rapidjson::Value& value) noexcept
{
    return value.IsInt64() || value.IsUint64();
}

bool HasKind(const rapidjson::Value& value, ValueKind kind)
{
    switch (kind)
    {
    case ValueKind::Text:
        return value.IsString();
    case ValueKind::Flag:
        return value.IsBool();
    case ValueKind::Number:
        return value.IsNumber();
    case ValueKind::Count:
        return IsWhole(value);
    case ValueKind::TextList:
        return value.IsArray() &&
            std::all_of(value.Begin(), value.End(), [](const rapidjson::Value& entry) { return entry.IsString(); });
    case ValueKind::ObjectList:
        return value.IsArray() &&
            std::all_of(value.Begin(), value.End(), [](const rapidjson::Value& entry) { return entry.IsObject(); });
    case ValueKind::Object:
    case ValueKind::AnyObject:
        return value.IsObject();
    case ValueKind::TextOrObject:
        return value.IsString() || value.IsObject();
    }
    return false;
}

std::string TextOf(const rapidjson::Value& value)
{
    return {value.GetString(), value.GetStringLength()};
}

std::vector<const KeyRule*> RulesOf(ScenarioObject object)
{
    std::vector<const KeyRule*> rules;
    for (const KeyRule& rule : KeyRules())
    {
        if (rule.object == object)
        {
            rules.push_back(&rule);
        }
    }
    return rules;
}

const KeyRule* FindRule(ScenarioObject object, std::string_view key)
{
    const std::vector<const KeyRule*> rules = RulesOf(object);
    const auto found = std::find_if(rules.begin(), rules.end(), [&](const KeyRule* rule) { return rule->key == key; });
    return found == rules.end() ? nullptr : *found;
}

std::vector<std::string> SplitKeys(std::string_view keys)
{
    std::vector<std::string> parts;
    while (!keys.empty())
    {
        const std::size_t end = std::min(keys.find(' '), keys.size());
        parts.emplace_back(keys.substr(0, end));
        keys.remove_prefix(std::min(end + 1, keys.size()));
    }
    return parts;
}

/// How many letters must be put in, taken out or replaced to make one word of the other.
std::size_t Distance(std::string_view first, std::string_view second)
{
    std::vector<std::size_t> row(second.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= first.size(); ++i)
    {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= second.size(); ++j)
        {
            const std::size_t replaced = diagonal + (first[i - 1] == second[j - 1] ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({replaced, row[j] + 1, row[j - 1] + 1}));
        }
    }
    return row.back();
}

} // namespace

std::string Quote(std::string_view text)
{
    constexpr std::size_t Longest = 64;
    const std::string_view shown = text.substr(0, Longest);
    const rapidjson::Value value(rapidjson::StringRef(shown.data(), static_cast<rapidjson::SizeType>(shown.size())));
    return Json::ToText(value) + (shown.size() < text.size() ? "..." : "");
}

std::string_view FindNearest(std::string_view text, const std::vector<std::string_view>& names)
{
    constexpr std::size_t LongestText = 64;
    constexpr std::size_t MostLetters = 2;
    std::string_view nearest;
    std::size_t least = MostLetters + 1;
    for (const std::string_view name : names)
    {
        const std::size_t distance = text.size() > LongestText ? least : Distance(text, name);
        if (distance < least && distance < name.size())
        {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}

void Problems::Add(std::string_view path, std::string_view problem)
{
    if (m_lines.size() < Most)
    {
        m_lines.push_back(fmt::format("{}: {}", path, problem));
    }
    else
    {
        ++m_untold;
    }
}

bool Problems::AreThere() const noexcept
{
    return !m_lines.empty();
}

std::string Problems::Describe() const
{
    std::string text = fmt::format("{}", fmt::join(m_lines, "\n"));
    return m_untold == 0 ? text : fmt::format("{}\nand {} more", text, m_untold);
}

ObjectReader::ObjectReader(const rapidjson::Value& value, std::string path, ScenarioObject object, Problems& problems)
    : e_value(value), m_path(std::move(path)), m_object(object), e_problems(problems)
{
    if (!value.IsObject())
    {
        problems.Add(m_path, fmt::format("must be an object, not {}", KindOf(value)));
        return;
    }
    CheckMembers();
    CheckNeeded();
}

bool ObjectReader::Has(std::string_view key) const
{
    return Json::FindMember(e_value, key) != nullptr;
}

std::string ObjectReader::Text(std::string_view key, std::string_view otherwise) const
{
    const rapidjson::Value* const value = Find(key, ValueKind::Text);
    return value == nullptr ? std::string(otherwise) : TextOf(*value);
}

bool ObjectReader::Flag(std::string_view key, bool otherwise) const
{
    const rapidjson::Value* const value = Find(key, ValueKind::Flag);
    return value == nullptr ? otherwise : value->GetBool();
}

double ObjectReader::Number(std::string_view key, double otherwise) const
{
    const rapidjson::Value* const value = Find(key, ValueKind::Number);
    return value == nullptr ? otherwise : value->GetDouble();
}

std::uint64_t ObjectReader::Count(std::string_view key, std::uint64_t otherwise) const
{
    const rapidjson::Value* const value = Find(key, ValueKind::Count);
    return value == nullptr || !value->IsUint64() ? otherwise : value->GetUint64();
}

std::vector<std::string> ObjectReader::TextList(std::string_view key) const
{
    std::vector<std::string> texts;
    if (const rapidjson::Value* const value = Find(key, ValueKind::TextList))
    {
        for (const rapidjson::Value& entry : value->GetArray())
        {
            texts.push_back(TextOf(entry));
        }
    }
    return texts;
}

const rapidjson::Value* ObjectReader::Object(std::string_view key) const
{
    return Find(key, ValueKind::Object);
}

std::string ObjectReader::TextOrObject(std::string_view key, std::string_view otherwise) const
{
    const rapidjson::Value* const value = Find(key, ValueKind::TextOrObject);
    if (value == nullptr)
    {
        return std::string(otherwise);
    }
    return value->IsString() ? TextOf(*value) : Json::ToText(*value);
}

std::vector<ObjectReader::Entry> ObjectReader::ObjectList(std::string_view key) const
{
    std::vector<Entry> entries;
    if (const rapidjson::Value* const value = Find(key, ValueKind::ObjectList))
    {
        for (rapidjson::SizeType i = 0; i < value->Size(); ++i)
        {
            entries.push_back({&(*value)[i], fmt::format("{}[{}]", PathOf(key), i)});
        }
    }
    return entries;
}

bool ObjectReader::IsEmptyList(std::string_view key) const
{
    const rapidjson::Value* const value = Json::FindMember(e_value, key);
    return value != nullptr && value->IsArray() && value->Empty();
}

std::string ObjectReader::PathOf(std::string_view key) const
{
    const bool isPlain = !key.empty() && key.size() < 40 &&
        std::all_of(
            key.begin(), key.end(),
            [](char c) {
                return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                    c == '_';
            });
    return isPlain ? fmt::format("{}.{}", m_path, key) : fmt::format("{}[{}]", m_path, Quote(key));
}

const std::string& ObjectReader::GetPath() const noexcept
{
    return m_path;
}

void ObjectReader::Refuse(std::string_view key, std::string_view problem) const
{
    e_problems.Add(PathOf(key), problem);
}

void ObjectReader::CheckMembers() const
{
    std::set<std::string> seen;
    for (const auto& member : e_value.GetObject())
    {
        const std::string key = TextOf(member.name);
        const KeyRule* const rule = FindRule(m_object, key);
        if (!seen.insert(key).second)
        {
            Refuse(key, "is given twice");
        }
        else if (rule == nullptr)
        {
            std::vector<std::string_view> names;
            for (const KeyRule* known : RulesOf(m_object))
            {
                names.push_back(known->key);
            }
            const std::string_view nearest = FindNearest(key, names);
            Refuse(
                key,
                fmt::format(
                    "there is no such key{}{}", ListNames(names),
                    nearest.empty() ? std::string() : fmt::format("; was \"{}\" meant?", nearest)));
        }
        else if (member.value.IsNull() && m_object == ScenarioObject::Configuration)
        {
            // There is none.
        }
        else if (!HasKind(member.value, rule->kind))
        {
            Refuse(key, fmt::format("must be {}, not {}", NameOf(rule->kind), KindOf(member.value)));
        }
        else if (
            member.value.IsNumber() &&
            !(member.value.GetDouble() >= rule->least && member.value.GetDouble() <= rule->most))
        {
            Refuse(
                key, fmt::format("must be from {} to {}, not {}", rule->least, rule->most, member.value.GetDouble()));
        }
    }
}

void ObjectReader::CheckNeeded() const
{
    for (const KeyRule* const rule : RulesOf(m_object))
    {
        if (rule->standard == "needed" && !Has(rule->key))
        {
            Refuse(rule->key, "is missing");
        }
    }
}

void ObjectReader::CheckNameKeys(std::string_view name, std::string_view keys, std::string_view common) const
{
    std::vector<std::string> allowed = SplitKeys(common);
    for (std::string key : SplitKeys(keys))
    {
        if (key.ends_with('!'))
        {
            key.pop_back();
            if (!Has(key))
            {
                Refuse(key, fmt::format("is missing, and \"{}\" needs it", name));
            }
        }
        allowed.push_back(key);
    }
    for (const auto& member : e_value.GetObject())
    {
        const std::string key = TextOf(member.name);
        if (FindRule(m_object, key) != nullptr && std::find(allowed.begin(), allowed.end(), key) == allowed.end())
        {
            Refuse(
                key,
                fmt::format(
                    "means nothing for \"{}\"{}", name,
                    ListNames(std::vector<std::string_view>(allowed.begin(), allowed.end()))));
        }
    }
}

std::string ObjectReader::ListNames(const std::vector<std::string_view>& names) const
{
    std::vector<std::string_view> sorted = names;
    std::sort(sorted.begin(), sorted.end());
    return fmt::format("; there are: {}", fmt::join(sorted, ", "));
}

const rapidjson::Value* ObjectReader::Find(std::string_view key, ValueKind kind) const
{
    const rapidjson::Value* const value = Json::FindMember(e_value, key);
    return value != nullptr && HasKind(*value, kind) ? value : nullptr;
}

} // namespace Lab
