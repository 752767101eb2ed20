// Any text as an os-release file, and as the release of the kernel: its first line.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "fuzz.require.hpp"
#include "shared.system-osrelease.linux.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::System;

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto values = ParseOsRelease(text);
    std::size_t characters = 0;
    for (const auto& [name, value] : values)
    {
        Require(!name.empty() && name.find('=') == std::string::npos && name.find('\n') == std::string::npos);
        Require(value.find('\n') == std::string::npos);
        characters += name.size() + value.size();
    }
    Require(characters <= size);
    // A value in single quotes comes back as it is.
    for (const auto& [name, value] : values)
    {
        if (value.find('\'') == std::string::npos && name.front() != '#')
        {
            const auto again = ParseOsRelease(name + "='" + value + "'");
            const auto found = again.find(name);
            Require(found != again.end() && found->second == value);
        }
    }
    try
    {
        const auto version = MakeOsVersion("Linux", text.substr(0, text.find('\n')), values);
        Require(!version.buildNumber.empty());
    }
    catch (const std::runtime_error& exception)
    {
        Require(std::string_view{exception.what()}.find("Couldn't read ") != std::string_view::npos);
    }
    return 0;
}
