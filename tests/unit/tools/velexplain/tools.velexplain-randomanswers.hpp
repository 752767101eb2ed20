#pragma once

#include "tools.velexplain-answers.hpp"

#include <cstdint>

namespace Tools::VelExplain::Examples
{

/// Whom most of the answers are for.
inline constexpr const char* RandomAgent = "agent";

/// Answers of all shapes, sound and not, missing ones too, made of few names, so that these often meet. The same seed gives
/// the same answers.
Answers MakeRandomAnswers(std::uint32_t seed);

} // namespace Tools::VelExplain::Examples
