#pragma once

#include "shared.exception-exceptions.hpp"
#include "shared.raii-nativehandle.hpp"

#include <cstdint>
#include <regex>
#include <string>

namespace TestSupport
{

/// The text with which the exception's what() was made, without the place and the system's part.
inline std::string BareText(const std::string& what)
{
    static const std::regex Form(R"(Exception in (?:function )?\S+\(\) (?:at|in) [^:]*:\d+:\d+(?: -->|:) )"
                                 R"(([\s\S]*?)( --> [\s\S]* \(error code 0[xX][0-9A-F]+\))?)");
    std::smatch match;
    return std::regex_match(what, match, Form) ? match[1].str() : "(of no known form) " + what;
}

/// Calls `function` and gives the bare text of the exception of class `Expected` that it throws. Another one passes on.
template <typename Expected, typename Function>
std::string ThrownText(Function&& function)
{
    try
    {
        function();
    }
    catch (const Expected& exception)
    {
        return BareText(exception.what());
    }
    return "(nothing was thrown)";
}

template <typename Function>
std::string RuntimeText(Function&& function)
{
    return ThrownText<Shared::Exception::RuntimeException>(function);
}

template <typename Function>
std::string InvalidArgumentText(Function&& function)
{
    return ThrownText<Shared::Exception::InvalidArgumentException>(function);
}

template <typename Function>
std::string Win32Text(Function&& function)
{
    return ThrownText<Shared::Exception::Win32Exception>(function);
}

/// Closes the system handle under its owner's feet. What the system loads for the first failure of a process is loaded
/// before, or it could get the number that has become free, which would then be a good handle again.
inline bool CloseUnderItsOwner(Shared::Raii::RawHandle handle)
{
    constexpr std::uint32_t AnyCode = 6;
    (void)Win32Text([] { throw Shared::Exception::Win32Exception("the first failure", AnyCode); });
    return Shared::Raii::Native::CloseHandle(handle);
}

} // namespace TestSupport
