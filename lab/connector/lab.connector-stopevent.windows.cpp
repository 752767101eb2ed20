#include "lab.connector-stopevent.hpp"

namespace Lab::Connector
{

Shared::Raii::Win32Handle FindInheritedEvent(const std::wstring&)
{
    return {};
}

} // namespace Lab::Connector
