#include <cstdlib>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "shared.json-rapidjsondocument.hpp"
#include "test.support-sanitizers.hpp"

#include <sys/resource.h>

namespace
{

constexpr rlim_t Megabyte = 1024 * 1024;

[[noreturn]] void ParseWithLittleMemory(const std::string& text)
{
    const rlimit limit{96 * Megabyte, 96 * Megabyte};
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
