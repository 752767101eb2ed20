#include "shared.log-logfile.hpp"

#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "test.support-temporaryfolder.hpp"

#include "shared.platform-windows.windows.hpp"

#include <io.h>

namespace
{

TEST(WindowsLogFileTest, NoChildInheritsTheStream)
{
    const TestSupport::TemporaryFolder folder;
    std::FILE* const stream = std::fopen((folder.Path() / "agent.log").string().c_str(), "ab");
    ASSERT_NE(stream, nullptr);
    const auto handle = reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)));
    DWORD flags = 0;
    ASSERT_NE(::GetHandleInformation(handle, &flags), FALSE);
    ASSERT_EQ(flags & HANDLE_FLAG_INHERIT, static_cast<DWORD>(HANDLE_FLAG_INHERIT));

    Shared::Log::LogFile::KeepFromChildren(stream);

    ASSERT_NE(::GetHandleInformation(handle, &flags), FALSE);
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0U);
    EXPECT_EQ(std::fclose(stream), 0);
}

TEST(WindowsLogFileTest, AFolderThatNeitherTheCodePageNorAShortNameCanTellIsARuntimeException)
{
    if (::GetACP() == CP_UTF8)
    {
        GTEST_SKIP() << "The code page has all letters";
    }
    const TestSupport::TemporaryFolder folder;
    // It does not exist, so it has no short name.
    const std::filesystem::path missing = folder.Path() / u8"\u0436\u65e5\u05d0\u0e01";

    try
    {
        const std::string name = Shared::Log::LogFile::NativeName(missing / "agent.log");
        FAIL() << "a name was given: " << name;
    }
    catch (const Shared::Exception::RuntimeException& exception)
    {
        EXPECT_TRUE(std::string(exception.what())
                        .ends_with(" --> The name of the log file cannot be written in the system's code page"))
            << exception.what();
    }
}

} // namespace
