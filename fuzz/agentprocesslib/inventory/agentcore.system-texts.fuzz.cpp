// Any text as /proc/meminfo, as a host name, and as /etc/hosts.
//   Null characters separate host name, kernel's domain and hosts file; the whole is the text of /proc/meminfo, too.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "agentcore.system-hostname.hpp"
#include "agentcore.system-memoryinfo.hpp"
#include "agentcore.system-texts.hpp"
#include "fuzz.require.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace AgentCore::System;

std::string_view TakeText(std::string_view& bytes)
{
    const auto text = bytes.substr(0, bytes.find('\0'));
    bytes.remove_prefix(text.size() < bytes.size() ? text.size() + 1 : text.size());
    return text;
}

void CheckHostNames(std::string_view bytes)
{
    const auto hostName = TakeText(bytes);
    const auto domain = TakeText(bytes);
    const auto names = FindHostNames(hostName, domain, bytes);
    Require(names.name.find('.') == std::string::npos);
    Require(Texts::Trim(hostName).starts_with(names.name));
    Require(names.domain.size() <= hostName.size() + domain.size() + bytes.size());
}

/// All lines and words together are the text without what separates them.
void CheckWords(std::string_view text)
{
    std::size_t characters = 0;
    for (auto rest = text; !rest.empty();)
    {
        auto line = Texts::TakeLine(rest);
        Require(line.find('\n') == std::string_view::npos);
        for (auto word = Texts::TakeWord(line); !word.empty(); word = Texts::TakeWord(line))
        {
            characters += word.size();
        }
    }
    for (const char c : text)
    {
        characters += c == ' ' || c == '\t' || c == '\n' ? 1 : 0;
    }
    Require(characters == text.size());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto status = ParseMemoryInfo(text))
    {
        Require(status->totalPhysical > 0 && status->totalPhysical % 1024 == 0 && status->memoryLoad <= 100);
    }
    CheckHostNames(text);
    CheckWords(text);
    return 0;
}
