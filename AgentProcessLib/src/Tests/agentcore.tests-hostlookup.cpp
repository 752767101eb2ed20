#include "agentcore.tests-hostlookup.hpp"

namespace AgentCore::Tests
{

bool CanNameHost(const std::wstring& hostName) noexcept
{
    return !hostName.empty() && hostName.find(L'\0') == std::wstring::npos;
}

} // namespace AgentCore::Tests
