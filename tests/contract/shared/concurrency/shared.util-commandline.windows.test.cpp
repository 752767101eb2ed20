#include "shared.util-commandline.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "shared.platform-windows.windows.hpp"

#include <shellapi.h>

using Shared::Util::Paste;
using Shared::Util::SplitCommandLine;

namespace
{

std::vector<std::wstring> SystemSplit(const std::wstring& line)
{
    int count = 0;
    PWSTR* const parts = ::CommandLineToArgvW(line.c_str(), &count);
    std::vector<std::wstring> arguments(parts, parts + count);
    ::LocalFree(parts);
    return arguments;
}

const std::vector<std::vector<std::wstring>> Cases = {
    {L"tool"},
    {L"a tool", L"two words", L"", L"three"},
    {L"", L"x"},
    {L"bin\\tool", L"a\"b", L"\\", L"\\\\", L"a\\", L"a b\\", L"a b\\\\", L"\\\"", L"\\\\\"x", L"\"\"", L"\" \""},
    {L"C:\\with blank\\", L"-s", L"https://example.com/?a=b c"},
    {L"tool", L"tab\tinside", L"line\nend", L"gr\u00fc\u00dfe"},
};

} // namespace

TEST(CommandLineOfWindowsTest, TheSystemsParserGivesBackWhatWasPasted)
{
    for (const std::vector<std::wstring>& arguments : Cases)
    {
        EXPECT_EQ(SystemSplit(Paste(arguments)), arguments);
    }
}

TEST(CommandLineOfWindowsTest, OurParserAgreesWithTheSystems)
{
    for (const std::vector<std::wstring>& arguments : Cases)
    {
        const std::wstring line = Paste(arguments);
        EXPECT_EQ(SplitCommandLine(line), SystemSplit(line));
    }
    for (const std::wstring line :
         {L"-s host -p one -l two", L"tool   a  b ", L"tool \"open", L"tool a\"b c\"d", L"tool a\\\\b \\\\\"c d\"",
          L"\"a b\" c"})
    {
        EXPECT_EQ(SplitCommandLine(line), SystemSplit(line)) << line.size();
    }
}
