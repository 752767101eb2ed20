#include "shared.com-cominitialiser.hpp"

#include <cstdint>
#include <string_view>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.com-comptr.windows.hpp"
#include "shared.com-values.windows.hpp"
#include "shared.exception-exceptions.hpp"

#include "shared.platform-windows.windows.hpp"

#include <objbase.h>

namespace
{

using Shared::COM::Bstr;
using Shared::COM::ComInitialiser;
using Shared::COM::ComPtr;
using Shared::COM::Variant;
using testing::HasSubstr;

bool HasApartment()
{
    APTTYPE type{};
    APTTYPEQUALIFIER qualifier{};
    // A thread without an apartment of its own still counts as in the process's multithreaded one while there is one.
    return ::CoGetApartmentType(&type, &qualifier) == S_OK && qualifier != APTTYPEQUALIFIER_IMPLICIT_MTA;
}

TEST(ComApartmentTest, TheThreadIsInTheMultithreadedApartmentWhileTheObjectLives)
{
    std::thread{[]
                {
                    EXPECT_FALSE(HasApartment());
                    {
                        ComInitialiser com;
                        com.Initialise();
                        APTTYPE type{};
                        APTTYPEQUALIFIER qualifier{};
                        EXPECT_EQ(::CoGetApartmentType(&type, &qualifier), S_OK);
                        EXPECT_EQ(type, APTTYPE_MTA);
                    }
                    EXPECT_FALSE(HasApartment());
                }}
        .join();
}

TEST(ComApartmentTest, AThreadOfAnotherModelCannotBeInitialised)
{
    std::thread{[]
                {
                    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
                    try
                    {
                        ComInitialiser com;
                        com.Initialise();
                        ADD_FAILURE() << "no exception";
                    }
                    catch (const Shared::Exception::ComException& exception)
                    {
                        EXPECT_THAT(exception.what(), HasSubstr("Failed to initialise COM."));
                        EXPECT_EQ(exception.GetResult(), static_cast<std::uint32_t>(RPC_E_CHANGED_MODE));
                    }
                    // The failed one took nothing, so it must not have given anything back.
                    EXPECT_TRUE(HasApartment());
                    ::CoUninitialize();
                    EXPECT_FALSE(HasApartment());
                }}
        .join();
}

// COM's interfaces have no virtual destructor, and nobody destroys this one by its interface.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// Counts its references, and is on the stack.
class Counted final : public IUnknown
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override
    {
        return E_NOINTERFACE;
    }

    ULONG STDMETHODCALLTYPE AddRef() override
    {
        return ++count;
    }

    ULONG STDMETHODCALLTYPE Release() override
    {
        return --count;
    }

    ULONG count = 1;
};

#pragma GCC diagnostic pop

TEST(ComPtrTest, ReleasesWhatItTookOver)
{
    Counted object;
    {
        const ComPtr<IUnknown> pointer{&object};
        EXPECT_EQ(object.count, 1U);
    }
    EXPECT_EQ(object.count, 0U);
}

TEST(ComPtrTest, ACopyHasAReferenceOfItsOwn)
{
    Counted object;
    {
        const ComPtr<IUnknown> first{&object};
        const ComPtr<IUnknown> second{first};
        EXPECT_EQ(object.count, 2U);
        EXPECT_EQ(second.Get(), first.Get());
    }
    EXPECT_EQ(object.count, 0U);
}

TEST(ComPtrTest, MovingAndAssigningNeverLoseOrDoubleAReference)
{
    Counted one;
    Counted other;
    {
        ComPtr<IUnknown> first{&one};
        ComPtr<IUnknown> second{std::move(first)};
        EXPECT_EQ(one.count, 1U);
        second = ComPtr<IUnknown>{&other};
        EXPECT_EQ(one.count, 0U);
        EXPECT_EQ(other.count, 1U);
        auto& same = second;
        second = same;
        EXPECT_EQ(other.count, 1U);
        second.Receive();
        EXPECT_EQ(other.count, 0U);
        EXPECT_FALSE(second);
    }
    EXPECT_EQ(other.count, 0U);
}

TEST(BstrTest, KeepsNullCharacters)
{
    using namespace std::string_view_literals;
    const Bstr text{L"a\0b"sv};
    EXPECT_EQ(::SysStringLen(text.Get()), 3U);
    EXPECT_EQ(text.Get()[2], L'b');
}

TEST(BstrTest, AnEmptyTextIsAText)
{
    const Bstr text{L""};
    ASSERT_NE(text.Get(), nullptr);
    EXPECT_EQ(::SysStringLen(text.Get()), 0U);
}

TEST(VariantTest, IsEmptyUntilSomethingIsPutIn)
{
    Counted object;
    {
        Variant value;
        EXPECT_EQ(value.Get().vt, VT_EMPTY);
        value.Receive()->vt = VT_UNKNOWN;
        value.Receive()->punkVal = &object;
    }
    EXPECT_EQ(object.count, 0U);
}

} // namespace
