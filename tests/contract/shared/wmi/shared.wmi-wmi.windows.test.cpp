#include "shared.wmi-wmi.windows.hpp"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.com-cominitialiser.hpp"
#include "shared.exception-exceptions.hpp"

namespace
{

using namespace Shared::WMI;
using testing::HasSubstr;

class WmiTest : public testing::Test
{
protected:
    WmiTest()
    {
        m_com.Initialise();
    }

    static WMIClassObject FirstRow(const std::wstring& wql)
    {
        auto row = WMIServer{L"ROOT\\CIMV2"}.Query(wql).Next();
        if (!row)
        {
            throw std::runtime_error("no row");
        }
        return *std::move(row);
    }

    template <typename Exception, typename Function>
    static void ExpectFailure(const std::string& text, Function function)
    {
        try
        {
            function();
            ADD_FAILURE() << "no exception";
        }
        catch (const Exception& exception)
        {
            EXPECT_THAT(exception.what(), HasSubstr(text));
        }
    }

private:
    Shared::COM::ComInitialiser m_com;
};

using Shared::Exception::ComException;

TEST_F(WmiTest, TheOperatingSystemHasACaption)
{
    const auto row = FirstRow(L"select * from Win32_OperatingSystem");
    EXPECT_FALSE(GetValueOrThrow(row.Get<std::wstring>(L"Caption")).empty());
}

TEST_F(WmiTest, TheOperatingSystemIsOneRow)
{
    const WMIServer server{L"ROOT\\CIMV2"};
    auto rows = server.Query(L"select * from Win32_OperatingSystem");
    EXPECT_TRUE(rows.Next());
    EXPECT_FALSE(rows.Next());
    EXPECT_FALSE(rows.Next());
}

TEST_F(WmiTest, TheProcessorHasCores)
{
    const auto row = FirstRow(L"select * from Win32_Processor");
    EXPECT_FALSE(GetValueOrThrow(row.Get<std::wstring>(L"Name")).empty());
    EXPECT_GE(GetValueOrThrow(row.Get<std::int32_t>(L"NumberOfCores")), 1);
    EXPECT_GE(
        GetValueOrThrow(row.Get<std::int32_t>(L"NumberOfLogicalProcessors")),
        GetValueOrThrow(row.Get<std::int32_t>(L"NumberOfCores")));
    EXPECT_EQ(row.Get<std::int32_t>(L"Architecture"), 9);
}

TEST_F(WmiTest, ABooleanIsRead)
{
    const auto row = FirstRow(L"select * from Win32_ComputerSystem");
    EXPECT_TRUE(row.Get<bool>(L"HypervisorPresent").has_value());
}

TEST_F(WmiTest, A64BitNumberIsReadFromItsText)
{
    const auto row = FirstRow(L"select * from Win32_PhysicalMemory");
    const auto capacity = row.Get<WmiStringAsUInt64>(L"Capacity");
    EXPECT_GT(GetValueOrThrow(capacity), std::uint64_t{1} << 28U);
    EXPECT_EQ(row.Get<std::wstring>(L"Capacity"), std::to_wstring(*capacity));
}

TEST_F(WmiTest, TheDriveOfTheSystemHasASize)
{
    const auto row = FirstRow(L"select * from Win32_LogicalDisk where Name = \"C:\"");
    EXPECT_EQ(row.Get<std::wstring>(L"Name"), L"C:");
    // Not compared with each other: where quotas count, what is free can be more than what the user may have.
    EXPECT_GT(GetValueOrThrow(row.Get<WmiStringAsUInt64>(L"Size")), 0U);
    EXPECT_GT(GetValueOrThrow(row.Get<WmiStringAsUInt64>(L"FreeSpace")), 0U);
}

TEST_F(WmiTest, AQueryWithoutRowsHasNone)
{
    const WMIServer server{L"ROOT\\CIMV2"};
    EXPECT_FALSE(server.Query(L"select * from Win32_LogicalDisk where Name = \"no such disk\"").Next());
}

TEST_F(WmiTest, ANullValueIsNothing)
{
    const auto row = FirstRow(L"select * from Win32_OperatingSystem");
    const auto value = row.Get<std::wstring>(L"CSDVersion");
    if (value)
    {
        GTEST_SKIP() << "this system has a service pack, so the one value that is usually null is not";
    }
    ExpectFailure<std::runtime_error>("WmiValue is null", [&value] { GetValueOrThrow(value); });
    EXPECT_EQ(row.Get<bool>(L"CSDVersion"), std::nullopt);
    EXPECT_EQ(row.Get<std::int32_t>(L"CSDVersion"), std::nullopt);
    EXPECT_EQ(row.Get<WmiStringAsUInt64>(L"CSDVersion"), std::nullopt);
}

TEST_F(WmiTest, AValueOfAnotherTypeIsToldByTheTypeThatWasAsked)
{
    const auto row = FirstRow(L"select * from Win32_Processor");
    ExpectFailure<std::runtime_error>("WMI value is not typed as a VT_BOOL. ", [&row] { row.Get<bool>(L"Name"); });
    ExpectFailure<std::runtime_error>(
        "WMI value is not typed as a VT_I4. ", [&row] { row.Get<std::int32_t>(L"Name"); });
    ExpectFailure<std::runtime_error>(
        "WMI value is not typed as a BSTR. ", [&row] { row.Get<std::wstring>(L"NumberOfCores"); });
    ExpectFailure<std::runtime_error>(
        "WMI value is not typed as a BSTR. ", [&row] { row.Get<WmiStringAsUInt64>(L"NumberOfCores"); });
}

TEST_F(WmiTest, ATextThatIsNoNumberCannotBeConverted)
{
    const auto row = FirstRow(L"select * from Win32_LogicalDisk where Name = \"C:\"");
    ExpectFailure<std::runtime_error>(
        "Failed to convert value to UINT64. Value: C:", [&row] { row.Get<WmiStringAsUInt64>(L"Name"); });
}

TEST_F(WmiTest, AnAttributeThatTheClassDoesNotHaveIsNamed)
{
    const auto row = FirstRow(L"select * from Win32_OperatingSystem");
    ExpectFailure<ComException>(
        "Failed ClassObject::Get() on attribute name: NoSuchThing", [&row] { row.Get<std::wstring>(L"NoSuchThing"); });
}

TEST_F(WmiTest, ANamespaceThatDoesNotExistIsNamed)
{
    ExpectFailure<ComException>(
        "Could not connect to requested namespace: ROOT\\NoSuchThing", [] { WMIServer{L"ROOT\\NoSuchThing"}; });
}

TEST_F(WmiTest, AQueryThatIsNoneIsNamed)
{
    ExpectFailure<ComException>(
        "Query failed: this is no query",
        []
        {
            const WMIServer server{L"ROOT\\CIMV2"};
            server.Query(L"this is no query").Next();
        });
}

TEST_F(WmiTest, ANullLocatorIsRefused)
{
    ExpectFailure<std::invalid_argument>(
        "WmiServerConnection cannot be initialised with a null locator", [] { WMIServer(nullptr, L"ROOT\\CIMV2"); });
}

TEST_F(WmiTest, NullRowsAreRefused)
{
    ExpectFailure<std::invalid_argument>(
        "WmiObjectEnumerator cannot be initialised with a null IEnumWbemClassObject.", [] { WMIObjectEnumerator{{}}; });
}

TEST_F(WmiTest, OneWayInServesSeveralConnections)
{
    const WMIProxy proxy;
    const WMIServer first{proxy.GetLocator(), L"ROOT\\CIMV2"};
    const WMIServer second{proxy.GetLocator(), L"ROOT\\WMI"};
    EXPECT_TRUE(first.Query(L"select * from Win32_OperatingSystem").Next());
}

TEST_F(WmiTest, AQueryOfAClassThatDoesNotExistHasNoRows)
{
    const WMIServer server{L"ROOT\\CIMV2"};
    try
    {
        EXPECT_FALSE(server.Query(L"select * from Win32_NoSuchThing").Next());
    }
    catch (const ComException& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr("IWbemClassObject::Next() call failed."));
    }
}

TEST(WmiWithoutComTest, AThreadWithoutComHasNoWayIn)
{
    std::thread{[]
                {
                    try
                    {
                        WMIProxy{};
                        ADD_FAILURE() << "no exception";
                    }
                    catch (const ComException& exception)
                    {
                        EXPECT_THAT(exception.what(), HasSubstr("Failed to create IWbemLocator proxy."));
                    }
                }}
        .join();
}

} // namespace
