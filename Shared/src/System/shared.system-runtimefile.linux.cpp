#include "shared.system-runtimefile.linux.hpp"

#include <cerrno>

#include <fmt/format.h>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-functions.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace Shared::System
{

std::string EncodeFileName(std::wstring_view text)
{
    std::string name;
    for (const char character : Util::ConvertStringType(text))
    {
        const auto byte = static_cast<unsigned char>(character);
        const bool isPlain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
            (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '.';
        name += isPlain ? std::string(1, character) : fmt::format("%{:02X}", byte);
    }
    return name;
}

FolderLock::FolderLock(const std::string& folder)
    : m_descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    if (m_descriptor < 0)
    {
        const auto code = Platform::LastError();
        throw Exception::Win32Exception(fmt::format("Failed to open folder {}", folder), code);
    }
    while (::flock(m_descriptor, LOCK_EX) != 0 && errno == EINTR)
    {
    }
}

FolderLock::~FolderLock()
{
    const int error = errno;
    // By word and not by closing alone: a child that is being started may have the descriptor too for a moment.
    (void)::flock(m_descriptor, LOCK_UN);
    ::close(m_descriptor);
    errno = error;
}

int FolderLock::GetDescriptor() const noexcept
{
    return m_descriptor;
}

} // namespace Shared::System
