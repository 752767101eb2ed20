#include "shared.system-machineid.linux.hpp"

#include "shared.system-machineid.hpp"

#include <string>

#include <gtest/gtest.h>

namespace
{

using Shared::System::ParseMachineId;

TEST(MachineIdTest, TheDigitsOfTheFileAreThoseOfTheGuid)
{
    EXPECT_EQ(ParseMachineId("0f1e2d3c4b5a69788796a5b4c3d2e1f0\n"), L"0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0");
    EXPECT_EQ(ParseMachineId("0F1E2D3C4B5A69788796A5B4C3D2E1F0"), L"0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0");
}

TEST(MachineIdTest, AnyOtherTextIsNone)
{
    for (const char* text :
         {"", "\n", "uninitialized\n", "00000000000000000000000000000000\n", "0f1e2d3c4b5a69788796a5b4c3d2e1f\n",
          "0f1e2d3c4b5a69788796a5b4c3d2e1f00\n", "0f1e2d3c4b5a69788796a5b4c3d2e1f0\n\n",
          "0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0\n", "0f1e2d3c4b5a69788796a5b4c3d2e1fg\n",
          " 0f1e2d3c4b5a69788796a5b4c3d2e1f\n"})
    {
        EXPECT_EQ(ParseMachineId(text), std::nullopt) << text;
    }
    EXPECT_EQ(ParseMachineId(std::string(1'000'000, 'a')), std::nullopt);
}

TEST(MachineIdTest, TheMachinesOwnIsAGuidOrNone)
{
    const auto id = Shared::System::ReadMachineId();
    EXPECT_TRUE(!id || id->size() == 36U);
}

} // namespace
