#include "lab.connector-arguments.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

namespace Lab::Connector
{

namespace
{

struct Option
{
    std::string_view name;
    std::string_view meaning;
    std::string Arguments::*member;
};

constexpr std::array<Option, 3> Options = {
    {{"-s", "the server", &Arguments::server},
     {"-p", "the message pipe", &Arguments::messagePipe},
     {"-l", "the log pipe", &Arguments::logPipe}}};

const Option* FindOption(std::string_view element) noexcept
{
    const auto found =
        std::find_if(Options.begin(), Options.end(), [&](const Option& option) { return option.name == element; });
    return found == Options.end() ? nullptr : &*found;
}

} // namespace

Arguments ParseArguments(const std::vector<std::string>& elements)
{
    Arguments arguments;
    for (std::size_t i = 0; i < elements.size(); ++i)
    {
        const Option* const option = FindOption(elements[i]);
        if (option == nullptr)
        {
            continue;
        }
        if (i + 1 == elements.size() || FindOption(elements[i + 1]) != nullptr)
        {
            throw std::invalid_argument(fmt::format("{} names no value for {}", option->name, option->meaning));
        }
        arguments.*option->member = elements[++i];
    }
    for (const Option& option : Options)
    {
        if ((arguments.*option.member).empty())
        {
            throw std::invalid_argument(fmt::format("{} is missing: {}", option.name, option.meaning));
        }
    }
    return arguments;
}

} // namespace Lab::Connector
