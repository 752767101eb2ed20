#include "shared.concurrency-processenvironment.linux.hpp"

#include <array>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Shared::Concurrency::Native::FilterEnvironment;

TEST(FilterEnvironmentTest, OnlyWhatIsListedIsHandedOn)
{
    constexpr std::array<const char*, 12> Given = {"PATH=/a:/b",
                                                   "LC_TIME=C",
                                                   "TZ=Europe/Berlin",
                                                   "LD_PRELOAD=/evil.so",
                                                   "NOTIFY_SOCKET=/run/x",
                                                   "SECRET=1",
                                                   "no_proxy=*",
                                                   "HTTP_PROXY=cgi",
                                                   "HTTPS_PROXY=p",
                                                   "LANGUAGE=de",
                                                   "CREDENTIALS_DIRECTORY=/c",
                                                   nullptr};
    EXPECT_THAT(
        FilterEnvironment(Given.data(), true, "/run/vel"),
        testing::UnorderedElementsAre(
            "PATH=/a:/b", "LC_TIME=C", "TZ=Europe/Berlin", "no_proxy=*", "HTTPS_PROXY=p", "LANGUAGE=de",
            "RUNTIME_DIRECTORY=/run/vel"));
}

TEST(FilterEnvironmentTest, WhatIsAboutTheUserStaysWithTheUser)
{
    constexpr std::array<const char*, 6> Given = {"HOME=/h",   "USER=u", "LOGNAME=u", "XDG_RUNTIME_DIR=/x",
                                                  "PATH=/bin", nullptr};
    EXPECT_THAT(
        FilterEnvironment(Given.data(), true, "/r"),
        testing::UnorderedElementsAre(
            "HOME=/h", "USER=u", "LOGNAME=u", "XDG_RUNTIME_DIR=/x", "PATH=/bin", "RUNTIME_DIRECTORY=/r"));
    EXPECT_THAT(
        FilterEnvironment(Given.data(), false, "/r"),
        testing::UnorderedElementsAre("PATH=/bin", "RUNTIME_DIRECTORY=/r"));
}

TEST(FilterEnvironmentTest, ThereIsAlwaysAPathAndOneRuntimeDirectory)
{
    constexpr std::array<const char*, 3> Given = {"RUNTIME_DIRECTORY=/old", "PATHS=/x", nullptr};
    EXPECT_THAT(
        FilterEnvironment(Given.data(), true, "/new"),
        testing::UnorderedElementsAre(
            "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "RUNTIME_DIRECTORY=/new"));
}

TEST(FilterEnvironmentTest, WhatIsNoVariableIsDropped)
{
    constexpr std::array<const char*, 5> Given = {"PATH", "=x", "", "LC_", nullptr};
    EXPECT_EQ(FilterEnvironment(Given.data(), true, "/r").size(), 2U);
    EXPECT_EQ(FilterEnvironment(nullptr, true, "/r").size(), 2U);
}
