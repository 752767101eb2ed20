#include "shared.concurrency-nativeevent.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include <memory>

#include "shared.platform-windows.windows.hpp"

#include <sddl.h>

namespace Shared::Concurrency::Native
{

namespace
{

using Descriptor = std::unique_ptr<void, decltype(&::LocalFree)>;

Descriptor ConvertDescriptor(const std::wstring& sddl)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!sddl.empty() &&
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, &descriptor, nullptr) ==
            FALSE)
    {
        throw Exception::Win32Exception("Failed to convert security descriptor", Platform::LastError());
    }
    return {descriptor, &::LocalFree};
}

} // namespace

Raii::RawHandle CreateEventObject(const EventRequest& request)
{
    const Descriptor descriptor = ConvertDescriptor(request.securityDescriptor);
    SECURITY_ATTRIBUTES attributes = {};
    attributes.nLength = sizeof attributes;
    attributes.lpSecurityDescriptor = descriptor.get();
    attributes.bInheritHandle = request.inheritable ? TRUE : FALSE;
    const HANDLE handle = ::CreateEventW(
        &attributes, request.manualReset ? TRUE : FALSE, request.initialState ? TRUE : FALSE,
        request.name.empty() ? nullptr : request.name.c_str());
    if (handle == nullptr)
    {
        throw Exception::Win32Exception("Failed to create or open event", Platform::LastError());
    }
    return handle;
}

Raii::RawHandle OpenEventObject(const std::wstring& name)
{
    return ::OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
}

bool SetEventObject(Raii::RawHandle handle) noexcept
{
    return ::SetEvent(handle) != FALSE;
}

bool ResetEventObject(Raii::RawHandle handle) noexcept
{
    return ::ResetEvent(handle) != FALSE;
}

} // namespace Shared::Concurrency::Native
