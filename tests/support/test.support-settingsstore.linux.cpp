#include "test.support-settingsstore.hpp"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include "shared.winreg-administration.hpp"
#include "shared.winreg-store.linux.hpp"

namespace TestSupport
{

namespace
{

constexpr const char* Variable = "STATE_DIRECTORY";

} // namespace

struct TemporarySettingsStore::State
{
    std::filesystem::path folder;
    std::optional<std::string> variableBefore;
    bool isKept = false;
};

TemporarySettingsStore::TemporarySettingsStore() : m_state(std::make_unique<State>())
{
    auto folder = (std::filesystem::temp_directory_path() / "vel-settings-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    m_state->folder = folder;
    if (const char* const before = std::getenv(Variable))
    {
        m_state->variableBefore = before;
    }
    ::setenv(Variable, folder.c_str(), 1);
    Shared::WinReg::CloseSettingsStore();
    Shared::WinReg::CreateKey(Shared::WinReg::Root::LocalMachine, L"");
}

TemporarySettingsStore::~TemporarySettingsStore()
{
    Shared::WinReg::CloseSettingsStore();
    if (m_state->variableBefore)
    {
        ::setenv(Variable, m_state->variableBefore->c_str(), 1);
    }
    else
    {
        ::unsetenv(Variable);
    }
    if (!m_state->isKept)
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_state->folder, ignored);
    }
}

std::string TemporarySettingsStore::GetPath() const
{
    return (m_state->folder / "settings.db").string();
}

void TemporarySettingsStore::Keep() noexcept
{
    m_state->isKept = true;
}

} // namespace TestSupport
