#include "agentcore.system-hostname.hpp"

#include <algorithm>

#include "agentcore.system-texts.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::System
{

namespace
{

HostNames SplitName(std::string_view fullName)
{
    const auto dot = std::min(fullName.find('.'), fullName.size());
    const auto domain = fullName.substr(std::min(dot + 1, fullName.size()));
    return {std::string{fullName.substr(0, dot)}, std::string{domain}};
}

/// The domain of a line's name of this host.
std::string FindDomainInLine(std::string_view line, std::string_view name)
{
    line = line.substr(0, line.find('#'));
    (void)Texts::TakeWord(line); // the address
    for (auto word = Texts::TakeWord(line); !word.empty(); word = Texts::TakeWord(line))
    {
        const auto names = SplitName(Texts::Trim(word));
        if (!names.domain.empty() && Shared::Util::EqualsIgnoreCase(std::string_view{names.name}, name))
        {
            return names.domain;
        }
    }
    return {};
}

std::string FindDomainInHosts(std::string_view hostsFile, std::string_view name)
{
    while (!hostsFile.empty())
    {
        auto domain = FindDomainInLine(Texts::TakeLine(hostsFile), name);
        if (!domain.empty())
        {
            return domain;
        }
    }
    return {};
}

} // namespace

HostNames FindHostNames(std::string_view hostName, std::string_view kernelDomain, std::string_view hostsFile)
{
    constexpr std::string_view noDomain = "(none)";
    auto names = SplitName(Texts::Trim(hostName));
    if (names.domain.empty() && !names.name.empty())
    {
        names.domain = FindDomainInHosts(hostsFile, names.name);
    }
    const auto domain = Texts::Trim(kernelDomain);
    if (names.domain.empty() && domain != noDomain)
    {
        names.domain = domain;
    }
    return names;
}

} // namespace AgentCore::System
