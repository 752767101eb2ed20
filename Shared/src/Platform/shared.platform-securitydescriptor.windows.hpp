#pragma once

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include <memory>
#include <string>

#include "shared.platform-windows.windows.hpp"

#include <sddl.h>

namespace Shared::Platform
{

/// A security descriptor of the system, freed at the end; null for the default one.
using SecurityDescriptor = std::unique_ptr<void, decltype(&::LocalFree)>;

/// The descriptor that a text in SDDL form, revision 1, means; empty means the default one. Throws Win32Exception "Failed
/// to convert security descriptor".
inline SecurityDescriptor ConvertSecurityDescriptor(const std::wstring& text)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!text.empty() &&
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor, nullptr) ==
            FALSE)
    {
        throw Exception::Win32Exception("Failed to convert security descriptor", LastError());
    }
    return {descriptor, &::LocalFree};
}

} // namespace Shared::Platform
