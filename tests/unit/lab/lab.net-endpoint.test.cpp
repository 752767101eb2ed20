#include "lab.net-endpoint.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace
{

using Lab::Net::Endpoint;
using Lab::Net::ParseEndpoint;

TEST(EndpointTest, AnAddressAndAPortAreReadAndWritten)
{
    EXPECT_EQ(ParseEndpoint("127.0.0.1:40123"), (Endpoint{"127.0.0.1", 40123}));
    EXPECT_EQ(Lab::Net::ToText({"127.0.0.1", 65535}), "127.0.0.1:65535");
}

TEST(EndpointTest, EverythingElseIsRefused)
{
    for (const char* text :
         {"", ":", "127.0.0.1", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65536", "127.0.0.1:1x", "127.0.0:1",
          "127.0.0.0.1:1", "127.0.0.256:1", "localhost:1", "127.0.0.1:1:1", " 127.0.0.1:1", "127.0.0.-1:1",
          "127.0..1:1"})
    {
        EXPECT_THROW((void)ParseEndpoint(text), std::invalid_argument) << text;
    }
}

} // namespace
