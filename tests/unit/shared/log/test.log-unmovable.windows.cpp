#include "test.log-unmovable.hpp"

#include <stdexcept>

#include "shared.platform-windows.windows.hpp"

namespace LogTests
{

struct UnmovableFile::State
{
    HANDLE handle;
};

UnmovableFile::UnmovableFile(const std::filesystem::path& file)
    : m_state(std::make_unique<State>(State{::CreateFileW(
          file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr)}))
{
    if (m_state->handle == INVALID_HANDLE_VALUE)
    {
        throw std::runtime_error("the file cannot be held where it is");
    }
}

UnmovableFile::~UnmovableFile()
{
    ::CloseHandle(m_state->handle);
}

} // namespace LogTests
