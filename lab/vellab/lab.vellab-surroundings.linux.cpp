#include "lab.vellab-surroundings.hpp"

#include "shared.winreg-store.linux.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include <unistd.h>

namespace Lab
{

namespace
{

std::atomic<Shared::Concurrency::Event*> s_interrupted{nullptr};

void OnInterrupt(int) noexcept
{
    const int error = errno;
    if (Shared::Concurrency::Event* const event = s_interrupted.load())
    {
        event->SignalNoThrow();
    }
    errno = error;
}

void UseFolder(const char* variable, const std::filesystem::path& folder)
{
    std::filesystem::create_directories(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    if (::setenv(variable, std::filesystem::absolute(folder).c_str(), 1) != 0)
    {
        throw std::system_error(errno, std::generic_category(), variable);
    }
}

} // namespace

void UseOwnSurroundings(const std::filesystem::path& results)
{
    UseFolder("STATE_DIRECTORY", results / "state");
    UseFolder("RUNTIME_DIRECTORY", results / "run");
    // One that is open already is that of before.
    Shared::WinReg::CloseSettingsStore();
}

std::filesystem::path FindClosedFolder(const std::filesystem::path& folder)
{
    if (::geteuid() != 0)
    {
        return {};
    }
    std::filesystem::path way;
    for (const std::filesystem::path& part : std::filesystem::absolute(folder))
    {
        way /= part;
        const std::filesystem::perms permissions = std::filesystem::status(way).permissions();
        if ((permissions & std::filesystem::perms::others_exec) == std::filesystem::perms::none)
        {
            return way;
        }
    }
    return {};
}

bool HasServiceAccounts() noexcept
{
    return true;
}

void SignalOnInterrupt(Shared::Concurrency::Event& interrupted)
{
    s_interrupted = &interrupted;
    struct sigaction action = {};
    action.sa_handler = &OnInterrupt;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

void StopSignalling() noexcept
{
    s_interrupted = nullptr;
}

std::string ProgramName(const std::string& name)
{
    return name;
}

} // namespace Lab
