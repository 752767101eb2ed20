#include "shared.system-resolverfile.linux.hpp"

#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "shared.system-procfile.linux.hpp"

#include <arpa/inet.h>

namespace Shared::System
{

namespace
{

constexpr std::string_view Blanks = " \t\r";

std::string_view TakeWord(std::string_view& line)
{
    const auto start = line.find_first_not_of(Blanks);
    line.remove_prefix(start == std::string_view::npos ? line.size() : start);
    const auto word = line.substr(0, line.find_first_of(Blanks));
    line.remove_prefix(word.size());
    return word;
}

std::optional<IpAddress> ParseAddress(std::string_view word)
{
    const std::string text{word.substr(0, word.find('%'))};
    std::array<unsigned char, sizeof(in6_addr)> bytes{};
    std::array<char, INET6_ADDRSTRLEN> normal{};
    for (const auto& [family, native] :
         {std::pair{AddressFamily::IpV4, AF_INET}, std::pair{AddressFamily::IpV6, AF_INET6}})
    {
        if (::inet_pton(native, text.c_str(), bytes.data()) == 1 &&
            ::inet_ntop(native, bytes.data(), normal.data(), normal.size()) != nullptr)
        {
            return IpAddress{family, normal.data()};
        }
    }
    return std::nullopt;
}

} // namespace

ResolverConfiguration ParseResolverFile(std::string_view text)
{
    ResolverConfiguration configuration;
    while (!text.empty())
    {
        const auto end = text.find('\n');
        auto line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);

        const auto keyword = TakeWord(line);
        if (keyword == "nameserver")
        {
            if (auto address = ParseAddress(TakeWord(line)))
            {
                configuration.servers.push_back(*std::move(address));
            }
        }
        else if (keyword == "search" || keyword == "domain")
        {
            configuration.suffix = TakeWord(line);
        }
    }
    return configuration;
}

ResolverConfiguration ReadResolverConfiguration()
{
    const IpAddress localStub{AddressFamily::IpV4, "127.0.0.53"};
    auto configuration = ParseResolverFile(ReadProcFile("/etc/resolv.conf").value_or(""));
    if (configuration.servers == std::vector{localStub})
    {
        if (const auto behindStub = ReadProcFile("/run/systemd/resolve/resolv.conf"))
        {
            return ParseResolverFile(*behindStub);
        }
    }
    return configuration;
}

} // namespace Shared::System
