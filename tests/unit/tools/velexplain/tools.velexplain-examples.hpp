#pragma once

#include "tools.velexplain-answers.hpp"

#include <string>

/// Answers that hold a test of every fate.
namespace Tools::VelExplain::Examples
{

inline constexpr const char* Agent = "5f0c5a52-0000-4000-8000-000000000001";
inline constexpr const char* User = "CORP\\jo";

/// The answer that has `entries`, JSON, for the agent.
std::string MakeAnswer(const std::string& entries);

/// An answer to every request, from files of their names, as "mtr.json". Whom they are about is not told.
Answers MakeAnswers();

} // namespace Tools::VelExplain::Examples
