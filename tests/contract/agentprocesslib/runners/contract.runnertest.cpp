#include "contract.runnertest.hpp"

#include "../io/contract.residentsize.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-temporaryfolder.hpp"
#include "test.support-time.hpp"
#include "test.support-wine.hpp"

#include <filesystem>

#include <fmt/format.h>

namespace Contract
{

namespace
{

using Shared::Util::ConvertStringType;
using Shared::WinReg::Root;

std::wstring VpnKey()
{
    return Shared::AppSettings::PathOf(Shared::AppSettings::SettingsKey::VpnVel);
}

std::wstring ToHex(std::string_view text)
{
    std::string digits;
    for (const char byte : text)
    {
        digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    }
    return ConvertStringType(std::string_view(digits));
}

/// Another test may be about to run it.
void WriteOnce(const std::filesystem::path& file, std::filesystem::perms permissions)
{
    if (!std::filesystem::exists(file))
    {
        TestSupport::WriteFile(file, "only words\n");
        std::filesystem::permissions(file, permissions);
    }
}

} // namespace

RunnerTest::RunnerTest()
{
    Shared::WinReg::CreateKey(Root::LocalMachine, VpnKey());
    SetTunnelStatus(L"connected");
}

void RunnerTest::SetTunnelStatus(const std::wstring& text)
{
    Shared::WinReg::SetStringValue(Root::LocalMachine, VpnKey(), L"tunnel-status", text);
}

void RunnerTest::SetDnsResolutionTimeoutMs(std::uint32_t milliseconds)
{
    Shared::WinReg::SetDwordValue(Root::LocalMachine, VpnKey(), L"dns-resolution-timeout", milliseconds);
}

void RunnerTest::ExpectToRunWhereConfigured(
    Shared::Concurrency::ProcessRunner& whenInternal, Shared::Concurrency::ProcessRunner& whenDisconnected)
{
    EXPECT_TRUE(whenInternal.ShouldRun());
    EXPECT_TRUE(whenDisconnected.ShouldRun());
    for (const wchar_t* status : {L"internal", L"connected-internal"})
    {
        SetTunnelStatus(status);
        EXPECT_TRUE(whenInternal.ShouldRun());
        EXPECT_FALSE(whenDisconnected.ShouldRun());
    }
    for (const wchar_t* status : {L"disconnected", L"disabled"})
    {
        SetTunnelStatus(status);
        EXPECT_FALSE(whenInternal.ShouldRun());
        EXPECT_TRUE(whenDisconnected.ShouldRun());
    }
    SetTunnelStatus(L"connected-non-tv");
    EXPECT_FALSE(whenInternal.ShouldRun());
    EXPECT_FALSE(whenDisconnected.ShouldRun());
}

FastClock::FastClock(double speed)
{
    Shared::Time::ClockControl::SetSpeed(speed);
}

FastClock::~FastClock()
{
    Shared::Time::ClockControl::Reset();
}

std::wstring Printing(std::string_view text, std::uint32_t exitCode)
{
    return L"print-" + std::to_wstring(exitCode) + L"=" + ToHex(text);
}

std::wstring PrintingAtBreak(std::string_view text)
{
    return L"await-break=" + ToHex(text);
}

std::vector<std::uint32_t> ExitCodes()
{
    std::vector<std::uint32_t> codes = {1, 2, 3, 7, 28, 127, 128, 255};
    if (!TestSupport::IsWine())
    {
        codes.clear();
        for (std::uint32_t code = 1; code <= 255; ++code)
        {
            codes.push_back(code);
        }
    }
    return codes;
}

std::vector<std::wstring> MakeUnusableTools()
{
    const std::filesystem::path folder = std::filesystem::path(OwnFolder()) / "bin";
    WriteOnce(folder / "not-executable.exe", std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    WriteOnce(folder / "no-program.exe", std::filesystem::perms::owner_all);
    std::filesystem::create_directory(folder / "folder.exe");
    return {L"bin\\nobody-has-this", L"bin\\not-executable.exe", L"bin\\no-program.exe", L"bin\\folder.exe"};
}

void RunToEnd(Shared::Concurrency::ProcessRunner& runner)
{
    ASSERT_TRUE(runner.Start());
    ASSERT_TRUE(AwaitEnd(runner));
}

bool AwaitEnd(const Shared::Concurrency::ProcessRunner& runner)
{
    return Shared::Concurrency::WaitFor(runner.GetProcessHandle(), TestSupport::LimitMs);
}

std::vector<std::wstring> ArgumentsOf(Shared::Concurrency::ProcessRunner& runner)
{
    std::vector<std::wstring> arguments;
    if (runner.Start())
    {
        for (const std::string& argument : Report(ReadToEnd(runner)).Texts("argument"))
        {
            arguments.push_back(ConvertStringType(std::string_view(argument)));
        }
    }
    return arguments;
}

void ExpectFloodToCostNoMemory(Shared::Concurrency::ProcessRunner& runner)
{
    constexpr std::size_t LargestPipe = 65'536;
    constexpr std::size_t Reads = 5;
    // Fast, but not too fast for the tool to fill the pipe each time.
    const FastClock clock(10);
    ASSERT_TRUE(runner.Start());
    const std::size_t before = ResidentBytes();
    std::string output;
    EXPECT_EQ(TestSupport::RuntimeText([&] { runner.GetFinalExitCode(output); }), "Read results timed out");
    EXPECT_LT(ResidentBytes(), before + 20'000'000U);
    EXPECT_GT(output.size(), 0U);
    EXPECT_LE(output.size(), Reads * LargestPipe);
}

} // namespace Contract
