#include "contract.concurrencychild.hpp"

namespace Contract
{

std::wstring ToWord(Shared::Raii::RawHandle handle)
{
    return std::to_wstring(reinterpret_cast<std::uintptr_t>(handle));
}

} // namespace Contract
