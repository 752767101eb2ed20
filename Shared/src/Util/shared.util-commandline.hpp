#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Command lines as Windows has them: one text that the started program takes apart again. Pure functions.
namespace Shared::Util
{

/// One command line of which the argument parser of the started program makes these arguments again. The first one is
/// the program, for which the parser knows no escapes: a double quote in it cannot be told and throws the runtime
/// exception "The argv[0] argument cannot include a double quote.". An argument that holds a null character cannot be
/// told either: the system ends the line there; the callers see to that. No arguments give an empty line.
std::wstring Paste(const std::vector<std::wstring>& arguments);

/// The arguments of a command line, as that parser makes them. The program: up to a blank or tab outside of double
/// quotes, which are dropped; backslashes mean nothing there. Every further argument: blanks and tabs outside of double
/// quotes separate; backslashes in front of a double quote count half, and an odd one makes it an ordinary character;
/// two double quotes inside of a quoted part are one ordinary one. An empty line has no arguments.
std::vector<std::wstring> SplitCommandLine(std::wstring_view commandLine);

} // namespace Shared::Util
