#include "shared.util-commandline.hpp"

#include <cstddef>

#include "shared.exception-exceptions.hpp"

namespace Shared::Util
{

namespace
{

constexpr wchar_t Quote = L'"';
constexpr wchar_t Backslash = L'\\';
/// More than separates, because other parsers of command lines are less modest.
constexpr std::wstring_view WhiteSpace = L" \t\n\v\f\r";

bool Holds(std::wstring_view text, std::wstring_view anyOf) noexcept
{
    return text.find_first_of(anyOf) != std::wstring_view::npos;
}

bool IsSeparator(wchar_t character) noexcept
{
    return character == L' ' || character == L'\t';
}

void AppendProgram(std::wstring& line, std::wstring_view program)
{
    if (program.find(Quote) != std::wstring_view::npos)
    {
        throw Exception::RuntimeException("The argv[0] argument cannot include a double quote.");
    }
    if (program.empty() || Holds(program, WhiteSpace))
    {
        line.append(1, Quote).append(program).append(1, Quote);
    }
    else
    {
        line.append(program);
    }
}

void AppendQuoted(std::wstring& line, std::wstring_view argument)
{
    line.push_back(Quote);
    std::size_t backslashes = 0;
    for (const wchar_t character : argument)
    {
        if (character == Backslash)
        {
            ++backslashes;
            continue;
        }
        // In front of a quote, and only there, backslashes are escapes: each is doubled, and one more is for the quote.
        line.append(character == Quote ? backslashes * 2 + 1 : backslashes, Backslash);
        line.push_back(character);
        backslashes = 0;
    }
    // What follows is the closing quote.
    line.append(backslashes * 2, Backslash).append(1, Quote);
}

void AppendArgument(std::wstring& line, std::wstring_view argument)
{
    line.push_back(L' ');
    if (!argument.empty() && !Holds(argument, WhiteSpace) && argument.find(Quote) == std::wstring_view::npos)
    {
        line.append(argument);
    }
    else
    {
        AppendQuoted(line, argument);
    }
}

/// Takes the program from the front of `rest`.
std::wstring TakeProgram(std::wstring_view& rest)
{
    std::wstring program;
    bool isQuoted = false;
    std::size_t position = 0;
    for (; position < rest.size() && (isQuoted || !IsSeparator(rest[position])); ++position)
    {
        if (rest[position] == Quote)
        {
            isQuoted = !isQuoted;
        }
        else
        {
            program.push_back(rest[position]);
        }
    }
    rest.remove_prefix(position);
    return program;
}

std::size_t CountBackslashes(std::wstring_view text) noexcept
{
    const std::size_t end = text.find_first_not_of(Backslash);
    return end == std::wstring_view::npos ? text.size() : end;
}

/// Takes one argument from the front of `rest`, which does not begin with a separator.
std::wstring TakeArgument(std::wstring_view& rest)
{
    std::wstring argument;
    bool isQuoted = false;
    while (!rest.empty() && (isQuoted || !IsSeparator(rest.front())))
    {
        const std::size_t backslashes = CountBackslashes(rest);
        rest.remove_prefix(backslashes);
        if (rest.empty() || rest.front() != Quote)
        {
            argument.append(backslashes, Backslash);
            if (!rest.empty() && (isQuoted || !IsSeparator(rest.front())))
            {
                argument.push_back(rest.front());
                rest.remove_prefix(1);
            }
            continue;
        }
        argument.append(backslashes / 2, Backslash);
        rest.remove_prefix(1);
        if (backslashes % 2 != 0)
        {
            argument.push_back(Quote);
        }
        else if (isQuoted && !rest.empty() && rest.front() == Quote)
        {
            argument.push_back(Quote);
            rest.remove_prefix(1);
        }
        else
        {
            isQuoted = !isQuoted;
        }
    }
    return argument;
}

void DropSeparators(std::wstring_view& rest) noexcept
{
    while (!rest.empty() && IsSeparator(rest.front()))
    {
        rest.remove_prefix(1);
    }
}

} // namespace

std::wstring Paste(const std::vector<std::wstring>& arguments)
{
    std::wstring line;
    for (std::size_t i = 0; i < arguments.size(); ++i)
    {
        if (i == 0)
        {
            AppendProgram(line, arguments[i]);
        }
        else
        {
            AppendArgument(line, arguments[i]);
        }
    }
    return line;
}

std::vector<std::wstring> SplitCommandLine(std::wstring_view commandLine)
{
    std::vector<std::wstring> arguments;
    if (commandLine.empty())
    {
        return arguments;
    }
    arguments.push_back(TakeProgram(commandLine));
    for (DropSeparators(commandLine); !commandLine.empty(); DropSeparators(commandLine))
    {
        arguments.push_back(TakeArgument(commandLine));
    }
    return arguments;
}

} // namespace Shared::Util
