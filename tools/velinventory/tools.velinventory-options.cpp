#include "tools.velinventory-options.hpp"

#include <stdexcept>

namespace Tools::VelInventory
{

Options ParseOptions(const std::vector<std::string>& arguments)
{
    Options options;
    for (const auto& argument : arguments)
    {
        if (argument == "--json")
        {
            options.form = OutputForm::Json;
        }
        else if (argument == "--show-secrets")
        {
            options.secrets = Secrets::Shown;
        }
        else if (argument == "--help")
        {
            options.help = true;
        }
        else
        {
            throw std::invalid_argument("\"" + argument + "\" is no option of velinventory");
        }
    }
    return options;
}

std::string UsageText()
{
    return "velinventory [options]\n"
           "    Shows the inventory that the agent on this machine would post at its start, and the settings that it would\n"
           "    have, and says of each value that could not be had why. Changes nothing.\n"
           "  --json          as JSON: the message under \"startup\", the settings under \"settings\", the reasons under\n"
           "                  \"missing\"\n"
           "  --show-secrets  shows what is stored enciphered in the clear, too\n"
           "  --help          this text\n"
           "Ends with 0, with 2 for wrong arguments, and with 1 when it could not write what it found.\n";
}

} // namespace Tools::VelInventory
