#include "integration.agentfixture.hpp"

#include "shared.winreg-functions.hpp"

namespace
{

using Integration::AgentTest;
using Integration::RunResult;
using ::testing::HasSubstr;
namespace WinReg = Shared::WinReg;
using WinReg::Root;

constexpr const wchar_t* VersionKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr const wchar_t* BuildValue = L"CurrentBuildNumber";

/// Gives the machine another build number for the time of a test.
class BuildNumber
{
public:
    explicit BuildNumber(const std::wstring& text)
        : m_before(WinReg::GetStringValue(Root::LocalMachine, VersionKey, BuildValue))
    {
        WinReg::SetStringValue(Root::LocalMachine, VersionKey, BuildValue, text);
    }

    BuildNumber(const BuildNumber&) = delete;
    BuildNumber& operator=(const BuildNumber&) = delete;

    ~BuildNumber()
    {
        WinReg::SetStringValue(Root::LocalMachine, VersionKey, BuildValue, m_before);
    }

private:
    std::wstring m_before;
};

TEST_F(AgentTest, AnOldWindowsEndsItAtOnceWith6500)
{
    const BuildNumber build(L"17762");
    const auto agent = StartAgent({"-d"});
    const RunResult result = AwaitEnd(*agent);
    EXPECT_EQ(result.exitCode, 6500);
    EXPECT_THAT(
        result.output,
        HasSubstr("[warning] This version of Windows 10 is pre-1809 (build 17762) and is not "
                  "supported."));
    EXPECT_THAT(result.log, ::testing::IsEmpty());
}

TEST_F(AgentTest, TheOldestSupportedBuildStarts)
{
    const BuildNumber build(L"17763");
    const auto agent = StartAgent({"--clock-speed=50"});
    EXPECT_EQ(AwaitEnd(*agent).exitCode, 1500) << "it starts, and then finds no stop event";
}

TEST_F(AgentTest, ABuildThatIsNoNumberStartsNormally)
{
    const BuildNumber build(L"unknown");
    const auto agent = StartAgent({"--clock-speed=50"});
    EXPECT_EQ(AwaitEnd(*agent).exitCode, 1500);
}

} // namespace
