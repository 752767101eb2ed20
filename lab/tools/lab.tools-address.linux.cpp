#include "lab.tools-address.hpp"

#include <array>
#include <memory>
#include <stdexcept>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

namespace Lab::Tools
{

std::string ResolveAddress(const std::string& host)
{
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found); error != 0)
    {
        throw std::runtime_error("no address for " + host + ": " + ::gai_strerror(error));
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owned(found, &::freeaddrinfo);
    std::array<char, INET_ADDRSTRLEN> text = {};
    const auto* const address = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
    ::inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size());
    return text.data();
}

std::string OwnHostName()
{
    constexpr std::size_t Longest = 256;
    std::array<char, Longest> name = {};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? std::string(name.data()) : std::string();
}

} // namespace Lab::Tools
