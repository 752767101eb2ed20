#pragma once

#include "tools.velexplain-options.hpp"
#include "tools.velexplain-requests.hpp"

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

/// What is explained: answers of a server, and whom they were given to.
namespace Tools::VelExplain
{

/// An input cannot be used; what() names it and says why, for people.
class InputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One answer. Its text is JSON.
struct Answer
{
    /// Where it comes from, for people.
    std::string source;
    std::string text;
};

/// Texts are UTF-8. What is missing is not there.
struct Answers
{
    std::map<Request, Answer> byRequest;
    std::optional<std::string> agentUuid;
    std::optional<std::string> username;
    /// Where these come from, for people.
    std::string agentSource;
    std::string userSource;
};

/// Larger files are not read.
inline constexpr std::size_t LargestFile = 256U << 20U;

/// The path that a text of UTF-8 names, and the other way round.
std::filesystem::path ToPath(const std::string& text);
std::string ToText(const std::filesystem::path& path);

/// The whole content. Throws InputError.
std::string ReadInput(const std::filesystem::path& file);

/// Throws InputError, with the line and the column of the first fault, unless `text` is JSON as the agent reads it.
/// @param source what to name
void RequireJson(std::string_view text, const std::string& source);

/// Everything that the options name, from the results folder where no file is named. Throws InputError.
Answers GatherAnswers(const Options& options);

} // namespace Tools::VelExplain
