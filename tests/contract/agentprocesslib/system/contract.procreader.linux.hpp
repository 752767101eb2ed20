#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

namespace Contract
{

/// What other programs print that read /proc in their own way, by a command of the shell.
inline std::istringstream ReadBy(const std::string& command)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output{::popen(command.c_str(), "r"), &::pclose};
    std::string text;
    std::array<char, 256> part{};
    while (output && std::fgets(part.data(), part.size(), output.get()) != nullptr)
    {
        text += part.data();
    }
    if (text.empty())
    {
        throw std::runtime_error("nothing was printed by: " + command);
    }
    return std::istringstream{text};
}

} // namespace Contract
