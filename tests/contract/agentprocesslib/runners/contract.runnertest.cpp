#include "contract.runnertest.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
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

FastClock::FastClock()
{
    Shared::Time::ClockControl::SetSpeed(1000);
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

std::vector<std::wstring> StrangeTargets()
{
    return {L"two words", L"a\"b",     L"\"",    L"\\\"",      L"a'b",
            L"$(reboot)", L"`reboot`", L"a;b",   L"a|b&c",     L"%PATH%",
            L"a>b",       L"*",        L"~",     L"tab\there", L"gr\u00fc\u00dfe",
            L"ends\\",    L"a--b",     L"@file", L"h -c 5",    std::wstring(10 * 1024, L'x')};
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

std::wstring MakeNoProgram()
{
    const std::filesystem::path folder = std::filesystem::path(OwnFolder()) / "bin";
    TestSupport::WriteFile(folder / "no-program.exe", "only words\n");
    return L"bin\\no-program.exe";
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

} // namespace Contract
