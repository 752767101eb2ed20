// Any text as the resolver's file and as the event file of a device.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz.require.hpp"
#include "shared.system-adaptertables.linux.hpp"
#include "shared.system-resolverfile.linux.hpp"

#include <arpa/inet.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::System;

/// What was read, written down again, is read as the same.
void CheckResolverFile(std::string_view text)
{
    const auto configuration = ParseResolverFile(text);
    std::string again = configuration.suffix.empty() ? "" : "search " + configuration.suffix + "\n";
    for (const auto& server : configuration.servers)
    {
        std::array<unsigned char, sizeof(in6_addr)> bytes{};
        const int family = server.family == AddressFamily::IpV4 ? AF_INET : AF_INET6;
        Require(::inet_pton(family, server.text.c_str(), bytes.data()) == 1);
        again += "nameserver " + server.text + "\n";
    }
    const auto reread = ParseResolverFile(again);
    Require(reread.servers == configuration.servers);
    Require(reread.suffix == configuration.suffix);
}

void CheckDeviceType(const std::string& text)
{
    const auto type = ReadDeviceType(text);
    Require(!type || text.find("DEVTYPE=") != std::string::npos);
    Require(ReadDeviceType("DEVTYPE=wlan\n" + text) == AdapterType::Wireless);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text{reinterpret_cast<const char*>(data), size};
    CheckResolverFile(text);
    CheckDeviceType(text);
    return 0;
}
