#include "shared.system-procfile.linux.hpp"

#include <cerrno>
#include <cstddef>

#include <fcntl.h>
#include <unistd.h>

namespace Shared::System
{

std::optional<std::string> ReadProcFile(const std::string& path)
{
    constexpr std::size_t step = 4096;
    constexpr std::size_t longest = 1U << 20U;

    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
    {
        return std::nullopt;
    }
    std::string content;
    std::size_t filled = 0;
    int error = 0;
    while (filled < longest)
    {
        content.resize(filled + step);
        const auto count = ::read(descriptor, content.data() + filled, step);
        if (count > 0)
        {
            filled += static_cast<std::size_t>(count);
        }
        else if (count == 0 || errno != EINTR)
        {
            error = count == 0 ? 0 : errno;
            break;
        }
    }
    ::close(descriptor);
    if (error != 0)
    {
        errno = error;
        return std::nullopt;
    }
    content.resize(filled);
    return content;
}

} // namespace Shared::System
