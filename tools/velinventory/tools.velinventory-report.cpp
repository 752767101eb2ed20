#include "tools.velinventory-report.hpp"

namespace Tools::VelInventory
{

SettingValue ToShown(const SettingRow& row, Secrets secrets)
{
    const auto* const text = std::get_if<std::string>(&row.value);
    // That there is none is no secret.
    const bool isEmpty = text != nullptr && text->empty();
    return row.isSecret && !isEmpty && secrets == Secrets::Hidden ? SettingValue{HiddenText} : row.value;
}

} // namespace Tools::VelInventory
