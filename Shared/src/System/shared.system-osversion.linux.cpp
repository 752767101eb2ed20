#include "shared.system-osversion.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.system-osrelease.linux.hpp"
#include "shared.util-functions.hpp"

#include <sys/utsname.h>

namespace Shared::System
{

namespace
{

utsname ReadKernel()
{
    utsname kernel{};
    if (::uname(&kernel) != 0)
    {
        throw Exception::RuntimeException("Couldn't read CurrentBuildNumber");
    }
    return kernel;
}

} // namespace

std::wstring GetOsBuildNumber()
{
    const auto kernel = ReadKernel();
    return Util::ConvertStringType(std::string{kernel.sysname} + " " + kernel.release);
}

OsVersion GetOsVersion()
{
    const auto kernel = ReadKernel();
    return MakeOsVersion(kernel.sysname, kernel.release, ReadOsRelease());
}

} // namespace Shared::System
