#pragma once

#include <string>
#include <vector>

namespace TestTargets
{

/// Targets that no host has, and that every tool is given as they stand.
inline std::vector<std::wstring> Strange()
{
    return {L"two words", L"a\"b",     L"\"",        L"\\\"",      L"a'b",
            L"$(reboot)", L"`reboot`", L"a;b",       L"a|b&c",     L"%PATH%",
            L"a>b",       L"~",        L"tab\there", L"line\nend", L"gr\u00fc\u00dfe",
            L"ends\\",    L"a--b",     L"@file",     L"/?",        L"h -c 5",
            L"*",         L"*.exe",    L"?cping",    L"../bin/*",  std::wstring(10 * 1024, L'x')};
}

/// The same of those that curl would take for more than a host.
inline std::vector<std::wstring> Patterns()
{
    return {L"h[1-1000000]", L"[a-z]*", L"{a,b}", L"{a", L"a]", L"h:22", L"file:///etc/passwd", L"{file,http}"};
}

/// A target that ends in the middle for everybody who takes a null character for the end.
inline std::wstring WithANullCharacter()
{
    return {L"cut\0here", 8};
}

} // namespace TestTargets
