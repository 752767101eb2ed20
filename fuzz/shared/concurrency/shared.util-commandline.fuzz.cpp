// Arguments of any kind through quoting and back, and command lines of any kind through the parser. What must come back
// is judged by a second parser, written here from the documented rules of the C runtime and in another form, so that a
// mistake made in quoting and parsing alike shows.
//   The bytes are UTF-8. Taken as a whole they are a command line; split at null bytes they are arguments.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.require.hpp"
#include "shared.util-commandline.hpp"
#include "shared.util-functions.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::Util;

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

/// The C runtime's parser of command lines, character by character, as a machine of states.
class RuntimeParser
{
public:
    static std::vector<std::wstring> Parse(const std::wstring& line)
    {
        RuntimeParser parser;
        for (std::size_t i = 0; i < line.size(); ++i)
        {
            const wchar_t next = i + 1 < line.size() ? line[i + 1] : L'\0';
            i += parser.m_isInProgram ? parser.TakeOfProgram(line[i]) : parser.Take(line[i], next);
        }
        if (!line.empty())
        {
            parser.End();
        }
        return parser.m_arguments;
    }

private:
    static bool IsBlank(wchar_t character)
    {
        return character == L' ' || character == L'\t';
    }

    /// Quotes come and go, and nothing else means anything. @return how many characters more were taken.
    std::size_t TakeOfProgram(wchar_t character)
    {
        if (character == L'"')
        {
            m_isQuoted = !m_isQuoted;
        }
        else if (IsBlank(character) && !m_isQuoted)
        {
            End();
            m_isInProgram = false;
        }
        else
        {
            m_argument += character;
        }
        return 0;
    }

    std::size_t Take(wchar_t character, wchar_t next)
    {
        if (character == L'\\')
        {
            ++m_backslashes;
            m_hasBegun = true;
            return 0;
        }
        const std::size_t backslashes = m_backslashes;
        m_backslashes = 0;
        if (character == L'"')
        {
            m_argument.append(backslashes / 2, L'\\');
            return TakeQuote(backslashes % 2 != 0, next);
        }
        m_argument.append(backslashes, L'\\');
        if (!IsBlank(character) || m_isQuoted)
        {
            m_argument += character;
            m_hasBegun = true;
        }
        else if (m_hasBegun)
        {
            End();
        }
        return 0;
    }

    std::size_t TakeQuote(bool isEscaped, wchar_t next)
    {
        m_hasBegun = true;
        const bool isDoubled = !isEscaped && m_isQuoted && next == L'"';
        if (isEscaped || isDoubled)
        {
            m_argument += L'"';
        }
        else
        {
            m_isQuoted = !m_isQuoted;
        }
        return isDoubled ? 1 : 0;
    }

    /// Of an argument that has begun, as the program always has.
    void End()
    {
        if (m_isInProgram || m_hasBegun)
        {
            m_arguments.push_back(m_argument.append(m_backslashes, L'\\'));
        }
        m_argument.clear();
        m_backslashes = 0;
        m_hasBegun = false;
        m_isQuoted = false;
    }

    std::vector<std::wstring> m_arguments;
    std::wstring m_argument;
    std::size_t m_backslashes = 0;
    bool m_isInProgram = true;
    bool m_isQuoted = false;
    bool m_hasBegun = false;
};

/// What was pasted comes back, or could not be told.
void CheckRoundTrip(const std::vector<std::wstring>& arguments)
{
    const bool canBeTold = arguments.front().find(L'"') == std::wstring::npos;
    try
    {
        const std::wstring line = Paste(arguments);
        Require(canBeTold);
        Require(RuntimeParser::Parse(line) == arguments);
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
    Require(arguments == RuntimeParser::Parse(line));
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
