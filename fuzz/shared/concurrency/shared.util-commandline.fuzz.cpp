// Arguments of any kind through quoting and back, and command lines of any kind through the parser.
//   The bytes are UTF-8. Taken as a whole they are a command line; split at null bytes they are arguments.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "shared.util-commandline.hpp"
#include "shared.util-functions.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using namespace Shared::Util;

void Require(bool holds)
{
    if (!holds)
    {
        std::abort();
    }
}

std::vector<std::wstring> ArgumentsOf(std::wstring_view text)
{
    std::vector<std::wstring> arguments{{}};
    for (const wchar_t character : text)
    {
        if (character == L'\0')
        {
            arguments.emplace_back();
        }
        else
        {
            arguments.back().push_back(character);
        }
    }
    return arguments;
}

/// What was pasted comes back, or could not be told.
void CheckRoundTrip(const std::vector<std::wstring>& arguments)
{
    const bool canBeTold = arguments.front().find(L'"') == std::wstring::npos;
    try
    {
        const std::wstring line = Paste(arguments);
        Require(canBeTold);
        Require(SplitCommandLine(line) == arguments);
    }
    catch (const std::runtime_error&)
    {
        Require(!canBeTold);
    }
}

/// A line of any kind gives arguments that are not longer than the line, and that a line can be pasted of.
void CheckParser(const std::wstring& line)
{
    const std::vector<std::wstring> arguments = SplitCommandLine(line);
    Require(arguments.empty() == line.empty());
    if (line.empty())
    {
        return;
    }
    std::size_t length = 0;
    for (const std::wstring& argument : arguments)
    {
        length += argument.size();
    }
    Require(length <= line.size());
    Require(arguments.front().find(L'"') == std::wstring::npos);
    Require(SplitCommandLine(Paste(arguments)) == arguments);
    // A line without quotes is split at blanks and tabs and nowhere else.
    if (line.find(L'"') == std::wstring::npos)
    {
        Require(std::all_of(
            arguments.begin() + 1, arguments.end(),
            [](const std::wstring& argument)
            { return !argument.empty() && argument.find_first_of(L" \t") == std::wstring::npos; }));
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::wstring text = ConvertStringType(std::string_view(reinterpret_cast<const char*>(data), size));
    CheckRoundTrip(ArgumentsOf(text));
    CheckParser(text);
    return 0;
}
