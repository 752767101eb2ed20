#include "shared.system-resolverfile.linux.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace Shared::System;
using testing::ElementsAre;
using testing::IsEmpty;

IpAddress V4(const char* text)
{
    return {AddressFamily::IpV4, text};
}

IpAddress V6(const char* text)
{
    return {AddressFamily::IpV6, text};
}

TEST(ResolverFileTest, ListsServersOfBothFamiliesInOrder)
{
    const auto configuration = ParseResolverFile("nameserver 10.0.0.2\nnameserver 2001:db8::1\nnameserver 10.0.0.1\n");
    EXPECT_THAT(configuration.servers, ElementsAre(V4("10.0.0.2"), V6("2001:db8::1"), V4("10.0.0.1")));
}

TEST(ResolverFileTest, TakesTheFirstSearchedDomainAsSuffix)
{
    EXPECT_EQ(ParseResolverFile("search corp.test lab.test\n").suffix, "corp.test");
    EXPECT_EQ(ParseResolverFile("domain corp.test").suffix, "corp.test");
}

TEST(ResolverFileTest, OfSeveralSuffixesTheLastCounts)
{
    EXPECT_EQ(ParseResolverFile("domain first.test\nsearch second.test\n").suffix, "second.test");
}

TEST(ResolverFileTest, PassesOverCommentsOptionsAndNonsense)
{
    const auto configuration =
        ParseResolverFile("# nameserver 10.0.0.1\n; x\n\noptions edns0\nnameserver\n"
                          "nameserver nonsense\nnameservers 10.0.0.3\n\t nameserver\t10.0.0.2  # x\r\n");
    EXPECT_THAT(configuration.servers, ElementsAre(V4("10.0.0.2")));
    EXPECT_EQ(configuration.suffix, "");
}

TEST(ResolverFileTest, CutsTheZoneBehindAnAddress)
{
    EXPECT_THAT(ParseResolverFile("nameserver fe80::1%eth0").servers, ElementsAre(V6("fe80::1")));
}

TEST(ResolverFileTest, WritesAddressesInTheirUsualForm)
{
    EXPECT_THAT(ParseResolverFile("nameserver 2001:0DB8:0:0:0:0:0:1").servers, ElementsAre(V6("2001:db8::1")));
}

TEST(ResolverFileTest, AnEmptyFileGivesNothing)
{
    EXPECT_THAT(ParseResolverFile("").servers, IsEmpty());
}

} // namespace
