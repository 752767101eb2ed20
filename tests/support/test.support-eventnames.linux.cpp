#include "test.support-eventnames.hpp"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

namespace TestSupport
{

namespace
{

constexpr const char* Variable = "RUNTIME_DIRECTORY";

std::string MakeFolder()
{
    std::string path = (std::filesystem::temp_directory_path() / "vel-events-XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), "mkdtemp() failed");
    }
    return path;
}

} // namespace

struct EventNames::State
{
    std::string folder = MakeFolder();
    std::optional<std::string> before;
};

EventNames::EventNames() : m_state(std::make_unique<State>())
{
    if (const char* const value = std::getenv(Variable))
    {
        m_state->before = value;
    }
    ::setenv(Variable, m_state->folder.c_str(), 1);
}

EventNames::~EventNames()
{
    if (m_state->before)
    {
        ::setenv(Variable, m_state->before->c_str(), 1);
    }
    else
    {
        ::unsetenv(Variable);
    }
    std::error_code ignored;
    std::filesystem::remove_all(m_state->folder, ignored);
}

std::string EventNames::Folder() const
{
    return m_state->folder;
}

} // namespace TestSupport
