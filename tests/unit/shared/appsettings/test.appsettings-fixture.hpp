#pragma once

#include "shared.appsettings-paths.hpp"
#include "shared.crypto-sensitivestring.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

#include <cstdint>
#include <string>

#include <gmock/gmock.h>

namespace AppSettingsTests
{

/// Settings of a test's own, and the log that they give.
class SettingsTest : public ::testing::Test
{
protected:
    SettingsTest();

    /// The keys of a fresh installation beside a VPN client, with the two values without which the agent does not start.
    static void LayOut();

    static void Set(Shared::AppSettings::SettingsKey key, const wchar_t* name, const std::wstring& text);
    static void Set(Shared::AppSettings::SettingsKey key, const wchar_t* name, std::uint32_t number);
    static void SetConfig(const wchar_t* name, const std::wstring& text);
    static void SetConfig(const wchar_t* name, std::uint32_t number);
    /// A value of the key in which the VPN client leaves its values for the agent.
    static void SetVpn(const wchar_t* name, const std::wstring& text);
    static void Delete(Shared::AppSettings::SettingsKey key, const wchar_t* name);

    /// The user in the VPN client's list form, enciphered with m_key or with another key.
    void SetUser(const std::string& list) const;
    void SetUser(const std::string& list, const std::string& key) const;
    /// Text enciphered with m_key as it stands in the registry.
    std::wstring Encipher(const std::string& text) const;
    std::wstring Encipher(const std::string& text, const std::string& key) const;

    static std::wstring Status();

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    Shared::Crypto::SensitiveString m_key;
};

} // namespace AppSettingsTests
