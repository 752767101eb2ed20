#include "shared.system-machineid.hpp"

namespace Shared::System
{

std::optional<std::wstring> ReadMachineId()
{
    return std::nullopt;
}

} // namespace Shared::System
