#include "test.log-unmovable.hpp"

#include <stdexcept>

#include <sys/stat.h>
#include <unistd.h>

namespace LogTests
{

namespace
{

constexpr uid_t Nobody = 65534;
constexpr mode_t ReadOnlyFolder = 0555;
constexpr mode_t OwnFolder = 0755;
constexpr mode_t AnybodysFile = 0666;

} // namespace

struct UnmovableFile::State
{
    std::filesystem::path folder;
    uid_t user;
};

UnmovableFile::UnmovableFile(const std::filesystem::path& file)
    : m_state(std::make_unique<State>(State{file.parent_path(), ::geteuid()}))
{
    for (const auto& entry : std::filesystem::directory_iterator(m_state->folder))
    {
        ::chmod(entry.path().c_str(), AnybodysFile);
    }
    if (::chmod(m_state->folder.c_str(), ReadOnlyFolder) != 0 || (m_state->user == 0 && ::seteuid(Nobody) != 0))
    {
        throw std::runtime_error("the file cannot be held where it is");
    }
}

UnmovableFile::~UnmovableFile()
{
    if (m_state->user == 0)
    {
        static_cast<void>(::seteuid(m_state->user));
    }
    ::chmod(m_state->folder.c_str(), OwnFolder);
}

} // namespace LogTests
