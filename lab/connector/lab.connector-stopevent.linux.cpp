#include "lab.connector-stopevent.hpp"

#include "shared.raii-nativehandle.linux.hpp"
#include "shared.util-functions.hpp"

#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Lab::Connector
{

namespace
{

namespace fs = std::filesystem;
namespace Raw = Shared::Raii::Native;

/// A named event is the FIFO "<name>.event" of the runtime directory.
bool IsEvent(const fs::path& target, int descriptor, const std::string& fileName)
{
    struct stat status = {};
    return target.filename() == fileName && ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

int ParseDescriptor(const std::string& text) noexcept
{
    int number = -1;
    (void)std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

} // namespace

Shared::Raii::Win32Handle FindInheritedEvent(const std::wstring& name)
{
    const std::string fileName = Shared::Util::ConvertStringType(name) + ".event";
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd", error))
    {
        const int descriptor = ParseDescriptor(entry.path().filename().string());
        std::error_code ignored;
        if (descriptor >= 0 && IsEvent(fs::read_symlink(entry.path(), ignored), descriptor, fileName))
        {
            return Shared::Raii::Win32Handle(Raw::FromDescriptor(
                ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0), Raw::WaitMode::LatchFifo, Raw::Access::WaitOnly));
        }
    }
    return {};
}

} // namespace Lab::Connector
