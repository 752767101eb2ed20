#pragma once

#include "lab.scenario-scenario.hpp"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

// What a scenario file may hold. These tables are what the parser checks a file against, what its errors name, and what
// the documentation shows.

namespace Lab
{

/// The kinds of objects in a scenario file.
enum class ScenarioObject : std::size_t
{
    Scenario,
    User,
    Vpn,
    Settings,
    Cloud,
    Configuration,
    Owner,
    Answer,
    ScriptedAnswer,
    Fault
};

enum class ValueKind
{
    Text,
    Flag,
    /// A number with or without a fraction.
    Number,
    /// A whole number.
    Count,
    TextList,
    Object,
    ObjectList,
    /// An object whose content is not looked at.
    AnyObject,
    /// A text, or an object whose content is not looked at.
    TextOrObject
};

struct KeyRule
{
    ScenarioObject object;
    std::string_view key;
    ValueKind kind;
    /// Of numbers.
    double least;
    double most;
    /// What holds when it is not given; "needed" when it must be.
    std::string_view standard;
    std::string_view meaning;
};

/// One way of answering or of failing, with the keys of its own that it takes.
template <typename Kind>
struct NameRule
{
    Kind kind;
    std::string_view name;
    std::string_view meaning;
    /// Keys that mean something here, separated by blanks; those with "!" behind them must be given.
    std::string_view keys;
};

std::span<const KeyRule> KeyRules() noexcept;
std::span<const NameRule<AnswerKind>> AnswerRules() noexcept;
std::span<const NameRule<RequestKind>> RequestRules() noexcept;
std::span<const NameRule<AnswerWay>> AnswerWayRules() noexcept;
std::span<const NameRule<FaultKind>> FaultRules() noexcept;

/// The name by which a scenario calls it, as "flood".
std::string_view NameOf(FaultKind kind) noexcept;
std::string_view NameOf(AnswerKind kind) noexcept;
std::string_view NameOf(RequestKind kind) noexcept;
std::string_view NameOf(AnswerWay way) noexcept;

/// All the tables, in the form of the documentation.
std::string DescribeScenarioKeys();

} // namespace Lab
