#include "shared.platform-standarderror.hpp"

#include <string_view>

#include <gtest/gtest.h>

#include "shared.platform-windows.windows.hpp"

namespace
{

using Shared::Platform::PrintToStandardError;

TEST(StandardErrorTest, WithoutAStreamTheTextIsLostAndTheLastErrorIsKept)
{
    const HANDLE before = ::GetStdHandle(STD_ERROR_HANDLE);
    for (const HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, reinterpret_cast<HANDLE>(0x12345670)})
    {
        ::SetStdHandle(STD_ERROR_HANDLE, none);
        ::SetLastError(ERROR_NOT_SAME_DEVICE);
        PrintToStandardError(std::wstring_view{L"lost"});
        const DWORD afterWide = ::GetLastError();
        PrintToStandardError(std::string_view{"lost"});
        const DWORD afterNarrow = ::GetLastError();
        ::SetStdHandle(STD_ERROR_HANDLE, before);
        EXPECT_EQ(afterWide, static_cast<DWORD>(ERROR_NOT_SAME_DEVICE));
        EXPECT_EQ(afterNarrow, static_cast<DWORD>(ERROR_NOT_SAME_DEVICE));
    }
}

} // namespace
