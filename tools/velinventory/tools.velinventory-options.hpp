#pragma once

#include <string>
#include <vector>

namespace Tools::VelInventory
{

enum class OutputForm
{
    Text,
    Json
};

/// Whether texts that are stored enciphered are shown in the clear.
enum class Secrets
{
    Hidden,
    Shown
};

struct Options
{
    OutputForm form = OutputForm::Text;
    Secrets secrets = Secrets::Hidden;
    /// Only how to call the program is wanted.
    bool help = false;
};

/// Reads the arguments behind the program's name. Throws std::invalid_argument with a sentence for people.
Options ParseOptions(const std::vector<std::string>& arguments);

/// How to call the program.
std::string UsageText();

} // namespace Tools::VelInventory
