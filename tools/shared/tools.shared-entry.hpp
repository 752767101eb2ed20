#pragma once

#include <string>
#include <vector>

namespace Tools
{

/// What a program does that is built with tools.shared-entry.linux.cpp and tools.shared-entry.windows.cpp: called once, with
/// the arguments behind the program's name in UTF-8, whatever the system gives them in. The result is the exit code.
int Run(const std::vector<std::string>& arguments);

} // namespace Tools
