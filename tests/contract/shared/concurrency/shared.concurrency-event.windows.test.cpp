#include "shared.concurrency-event.hpp"

#include "shared.raii-win32handle.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"

#include <string>

#include <gtest/gtest.h>

#include "shared.platform-windows.windows.hpp"

#include <aclapi.h>
#include <sddl.h>

using Shared::Concurrency::Event;
using TestSupport::Win32Text;

TEST(EventObjectTest, TheNameOfAnotherKindOfObjectIsRefused)
{
    const std::wstring name = TestSupport::EventNames().Unique(L"mutex");
    const Shared::Raii::Win32Handle mutex(::CreateMutexW(nullptr, FALSE, name.c_str()));
    EXPECT_EQ(Win32Text([&] { Event(false, true, name); }), "Failed to create or open event");
}

TEST(EventObjectTest, TheSecurityDescriptorIsThatOfTheObject)
{
    const Event event(false, true, TestSupport::EventNames().Unique(L"guarded"), L"D:P(A;;GA;;;SY)(A;;GA;;;WD)");
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(
        ::GetSecurityInfo(
            event.GetHandle(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr,
            &descriptor),
        static_cast<DWORD>(ERROR_SUCCESS));
    LPWSTR text = nullptr;
    EXPECT_NE(
        ::ConvertSecurityDescriptorToStringSecurityDescriptorW(
            descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr),
        FALSE);
    const std::wstring found = text == nullptr ? L"" : text;
    EXPECT_NE(found.find(L";;;SY)"), std::wstring::npos);
    EXPECT_NE(found.find(L";;;WD)"), std::wstring::npos);
    ::LocalFree(text);
    ::LocalFree(descriptor);
}
