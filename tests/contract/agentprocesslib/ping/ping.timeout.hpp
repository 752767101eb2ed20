#pragma once

#include <cstdint>
#include <string>

#include "shared.appsettings-paths.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"

namespace PingTest
{

/// Sets how many milliseconds an answer to a ping may take, in the settings store of the test.
inline void SetPingTimeout(std::uint32_t timeoutMs)
{
    const std::wstring path = Shared::AppSettings::Paths::Config;
    Shared::WinReg::CreateKey(Shared::WinReg::Root::LocalMachine, path);
    Shared::WinReg::SetDwordValue(Shared::WinReg::Root::LocalMachine, path, L"PingTimeoutMs", timeoutMs);
}

} // namespace PingTest
