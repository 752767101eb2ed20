#pragma once

#include "lab.scenario-catalogue.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

namespace Lab
{

/// What is wrong with a scenario file, in the order in which it was found.
class Problems
{
public:
    /// More than these are not told.
    static constexpr std::size_t Most = 20;

    void Add(std::string_view path, std::string_view problem);
    bool AreThere() const noexcept;
    /// One line for each.
    std::string Describe() const;

private:
    std::vector<std::string> m_lines;
    std::size_t m_untold = 0;
};

/// One object of a scenario file. Its construction holds all its members against the rules; the getters then give what is
/// right, and for all else what the caller takes without it.
class ObjectReader
{
public:
    /// All three must outlive the reader.
    ObjectReader(const rapidjson::Value& value, std::string path, ScenarioObject object, Problems& problems);

    bool Has(std::string_view key) const;
    std::string Text(std::string_view key, std::string_view otherwise = {}) const;
    bool Flag(std::string_view key, bool otherwise) const;
    double Number(std::string_view key, double otherwise) const;
    std::uint64_t Count(std::string_view key, std::uint64_t otherwise) const;
    std::vector<std::string> TextList(std::string_view key) const;
    /// Null when it is not there or is none.
    const rapidjson::Value* Object(std::string_view key) const;
    /// A text as it is, an object as JSON.
    std::string TextOrObject(std::string_view key, std::string_view otherwise = {}) const;

    /// Its entries with their paths; those that are no objects are left out.
    struct Entry
    {
        const rapidjson::Value* value;
        std::string path;
    };

    std::vector<Entry> ObjectList(std::string_view key) const;
    bool IsEmptyList(std::string_view key) const;

    std::string PathOf(std::string_view key) const;
    const std::string& GetPath() const noexcept;
    /// Says that a member is wrong in a way that its rule does not know.
    void Refuse(std::string_view key, std::string_view problem) const;
    /// Holds the member `nameKey` against the names of `rules`. Null when there is no such name.
    template <typename Kind>
    const NameRule<Kind>* FindName(
        std::string_view nameKey, std::string_view what, std::span<const NameRule<Kind>> rules) const;
    /// FindName(), and holds the other members against the keys that the rule of that name takes beside `common`.
    template <typename Kind>
    const NameRule<Kind>* ChooseName(
        std::string_view nameKey,
        std::string_view what,
        std::span<const NameRule<Kind>> rules,
        std::string_view common) const;

private:
    void CheckMembers() const;
    void CheckNeeded() const;
    void CheckNameKeys(std::string_view name, std::string_view keys, std::string_view common) const;
    std::string ListNames(const std::vector<std::string_view>& names) const;
    const rapidjson::Value* Find(std::string_view key, ValueKind kind) const;

    const rapidjson::Value& e_value;
    std::string m_path;
    ScenarioObject m_object;
    Problems& e_problems;
};

/// A text of the file as an error may show it: in quotation marks, without control characters, and not too long.
std::string Quote(std::string_view text);

/// The one of `names` that was most likely meant by `text`; empty when none is near.
std::string_view FindNearest(std::string_view text, const std::vector<std::string_view>& names);

template <typename Kind>
const NameRule<Kind>* ObjectReader::FindName(
    std::string_view nameKey, std::string_view what, std::span<const NameRule<Kind>> rules) const
{
    const std::string name = Text(nameKey);
    std::vector<std::string_view> names;
    for (const NameRule<Kind>& rule : rules)
    {
        if (rule.name == name)
        {
            return &rule;
        }
        names.push_back(rule.name);
    }
    if (Find(nameKey, ValueKind::Text) != nullptr)
    {
        Refuse(nameKey, Quote(name) + " is no " + std::string(what) + ListNames(names));
    }
    return nullptr;
}

template <typename Kind>
const NameRule<Kind>* ObjectReader::ChooseName(
    std::string_view nameKey,
    std::string_view what,
    std::span<const NameRule<Kind>> rules,
    std::string_view common) const
{
    const NameRule<Kind>* const rule = FindName(nameKey, what, rules);
    if (rule != nullptr)
    {
        CheckNameKeys(rule->name, rule->keys, common);
    }
    return rule;
}

} // namespace Lab
