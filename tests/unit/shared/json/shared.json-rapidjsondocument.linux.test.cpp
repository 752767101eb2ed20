#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "shared.json-rapidjsondocument.hpp"
#include "test.support-sanitizers.hpp"

#include <sys/resource.h>
#include <unistd.h>

namespace
{

constexpr rlim_t Megabyte = 1024 * 1024;

/// Address space that the process has now, in bytes.
rlim_t AddressSpace()
{
    std::ifstream statm("/proc/self/statm");
    rlim_t pages = 0;
    statm >> pages;
    return pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
}

[[noreturn]] void ParseWithLittleMemory(const std::string& text)
{
    // Less than the values of either text need.
    const rlim_t bytes = AddressSpace() + 24 * Megabyte;
    const rlimit limit{bytes, bytes};
    ::setrlimit(RLIMIT_AS, &limit);
    try
    {
        const Shared::Json::RapidJsonDocument document(text);
    }
    catch (const std::bad_alloc&)
    {
        std::_Exit(7);
    }
    std::_Exit(8);
}

} // namespace

TEST(RapidJsonDocumentDeathTest, LackOfMemoryIsAnExceptionLikeAnyOther)
{
    if (TestSupport::IsAddressSanitized || TestSupport::IsThreadSanitized)
    {
        GTEST_SKIP() << "a sanitizer's own memory is beyond any such limit";
    }
    EXPECT_EXIT(ParseWithLittleMemory(std::string(8 * Megabyte, '[')), testing::ExitedWithCode(7), "");
    std::string numbers = "[";
    while (numbers.size() < 8 * Megabyte)
    {
        numbers += "0,";
    }
    EXPECT_EXIT(ParseWithLittleMemory(numbers + "0]"), testing::ExitedWithCode(7), "");
}
