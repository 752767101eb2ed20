#include "agentcore.ops-upgrade.hpp"

#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

#include <cstddef>

namespace AgentCore::Ops
{

using Shared::Util::ConvertStringType;

namespace
{

/// How long the updater may take before it is asked again.
constexpr std::uint32_t UpgradePeriodMs = 15 * 60 * 1000;

/// The numbers of a version text, one after another.
class VersionNumbers
{
public:
    explicit VersionNumbers(std::wstring_view text) : m_text(text)
    {
    }

    bool AreUsedUp() const
    {
        return m_position >= m_text.size();
    }

    /// 0 when they are used up.
    std::uint32_t TakeNext()
    {
        std::uint32_t number = 0;
        for (; !AreUsedUp() && m_text[m_position] != L'.'; ++m_position)
        {
            number = number * 10U + static_cast<std::uint32_t>(m_text[m_position]) - static_cast<std::uint32_t>(L'0');
        }
        ++m_position;
        return number;
    }

private:
    std::wstring_view m_text;
    std::size_t m_position = 0;
};

} // namespace

VersionOrder CompareVersions(std::wstring_view first, std::wstring_view second)
{
    VersionNumbers ofFirst(first);
    VersionNumbers ofSecond(second);
    while (!ofFirst.AreUsedUp() || !ofSecond.AreUsedUp())
    {
        const std::uint32_t one = ofFirst.TakeNext();
        const std::uint32_t other = ofSecond.TakeNext();
        if (one != other)
        {
            return one > other ? VersionOrder::Newer : VersionOrder::Older;
        }
    }
    return VersionOrder::Equal;
}

bool CompareVersionsAndUpgrade(
    const std::wstring& targetVersion, Identity& identity, Shared::Concurrency::WaitableTimer& upgradeTimer)
{
    if (targetVersion.empty())
    {
        Shared::Log::Warn(
            "An upgrade was initiated, but the target version is unexpectedly empty. Check the server's "
            "ConfigAccountAgent response to ensure the correct OS, agent class, and product is present in "
            "target_versions.");
        return false;
    }
    const std::wstring current = identity.GetInstalledVersion();
    const std::string currentText = ConvertStringType(current);
    const std::string targetText = ConvertStringType(targetVersion);
    Shared::Log::Info("The current version is {0}; the requested version is {1}", currentText, targetText);
    const VersionOrder order = CompareVersions(current, targetVersion);
    if (order == VersionOrder::Newer)
    {
        Shared::Log::Warn(
            "An upgrade was initiated but the current version {0} is greater than the target version {1}", currentText,
            targetText);
    }
    if (order != VersionOrder::Older)
    {
        return false;
    }
    identity.SetTargetVersion(targetVersion);
    upgradeTimer.SetTimerInMillis(-std::int64_t{UpgradePeriodMs}, UpgradePeriodMs);
    return true;
}

bool CompareVersionsAndUpgrade(
    const std::string& targetVersion, Identity& identity, Shared::Concurrency::WaitableTimer& upgradeTimer)
{
    return CompareVersionsAndUpgrade(ConvertStringType(targetVersion), identity, upgradeTimer);
}

} // namespace AgentCore::Ops
