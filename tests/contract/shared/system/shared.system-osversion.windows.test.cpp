#include "shared.system-osversionkey.windows.hpp"

#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"

namespace
{

using Shared::System::ReadOsVersion;
using testing::HasSubstr;
using namespace Shared::WinReg;

/// A key of the test's own with all values of a version in it.
class OsVersionKeyTest : public testing::Test
{
protected:
    OsVersionKeyTest()
    {
        CreateKey(Root::LocalMachine, m_path);
        SetStringValue(Root::LocalMachine, m_path, L"CurrentBuildNumber", L"17763");
        SetDwordValue(Root::LocalMachine, m_path, L"CurrentMajorVersionNumber", 10);
        SetDwordValue(Root::LocalMachine, m_path, L"CurrentMinorVersionNumber", 0);
        SetStringValue(Root::LocalMachine, m_path, L"ReleaseId", L"1809");
    }

    ~OsVersionKeyTest() override
    {
        DeleteKeyTree(Root::LocalMachine, m_path);
    }

    const std::wstring& Path() const
    {
        return m_path;
    }

    void ExpectMissing(const wchar_t* name, const std::string& text) const
    {
        DeleteValue(Root::LocalMachine, m_path, name);
        try
        {
            ReadOsVersion(m_path);
            ADD_FAILURE() << "no exception";
        }
        catch (const std::runtime_error& exception)
        {
            EXPECT_THAT(exception.what(), HasSubstr(text));
        }
    }

private:
    std::wstring m_path = L"SOFTWARE\\Tarvane Contract " + Shared::Util::GenerateGuid();
};

TEST_F(OsVersionKeyTest, AllValuesTogetherAreTheVersion)
{
    const auto version = ReadOsVersion(Path());
    EXPECT_EQ(version.buildNumber, L"17763");
    EXPECT_EQ(version.majorVersion, 10U);
    EXPECT_EQ(version.minorVersion, 0U);
    EXPECT_EQ(version.releaseId, L"1809");
}

TEST_F(OsVersionKeyTest, EachMissingValueHasItsOwnFailure)
{
    ExpectMissing(L"ReleaseId", "Couldn't read ReleaseId");
    ExpectMissing(L"CurrentMinorVersionNumber", "Couldn't read MinorVersionNumber");
    ExpectMissing(L"CurrentMajorVersionNumber", "Couldn't read MajorVersionNumber");
    ExpectMissing(L"CurrentBuildNumber", "Couldn't read CurrentBuildNumber");
}

TEST_F(OsVersionKeyTest, AValueOfAnotherTypeIsMissing)
{
    SetDwordValue(Root::LocalMachine, Path(), L"CurrentBuildNumber", 17763);
    EXPECT_THROW(ReadOsVersion(Path()), std::runtime_error);
}

} // namespace
