#include "test.support-settingsstore.hpp"

#include <atomic>
#include <system_error>

#include "shared.platform-windows.windows.hpp"

namespace TestSupport
{

namespace
{

constexpr const char* Parent = "Software\\TarvaneVelTests\\";

std::string MakeName()
{
    static std::atomic<unsigned> count{0};
    return Parent + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(count++);
}

void Check(LSTATUS status, const char* what)
{
    if (status != ERROR_SUCCESS)
    {
        throw std::system_error(static_cast<int>(status), std::system_category(), what);
    }
}

} // namespace

struct TemporarySettingsStore::State
{
    std::string name = MakeName();
    HKEY key = nullptr;
    bool isKept = false;
};

TemporarySettingsStore::TemporarySettingsStore() : m_state(std::make_unique<State>())
{
    // A process of the same number may have died and left its key.
    ::RegDeleteTreeA(HKEY_CURRENT_USER, m_state->name.c_str());
    Check(
        ::RegCreateKeyExA(
            HKEY_CURRENT_USER, m_state->name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
            &m_state->key, nullptr),
        "RegCreateKeyExA");
    Check(::RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_state->key), "RegOverridePredefKey");
}

TemporarySettingsStore::~TemporarySettingsStore()
{
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    ::RegCloseKey(m_state->key);
    if (!m_state->isKept)
    {
        ::RegDeleteTreeA(HKEY_CURRENT_USER, m_state->name.c_str());
    }
}

std::string TemporarySettingsStore::GetPath() const
{
    return m_state->name;
}

void TemporarySettingsStore::Keep() noexcept
{
    m_state->isKept = true;
}

} // namespace TestSupport
