#include "lab.cloud-exchanges.hpp"

#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lab::RequestKind;
using Lab::Cloud::Exchange;
using Lab::Cloud::Exchanges;

TEST(ExchangesTest, EachHasItsTimesAndItsWay)
{
    Exchanges exchanges;
    const auto first = exchanges.Begin(RequestKind::Startup);
    const auto second = exchanges.Begin(RequestKind::Tests);
    ASSERT_TRUE(first && second);
    exchanges.Explain(*first, "drop");
    exchanges.Answer(*second);
    const std::vector<Exchange> all = exchanges.GetAll();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].kind, RequestKind::Startup);
    EXPECT_EQ(all[0].how, "drop");
    EXPECT_EQ(all[0].answered, std::nullopt);
    EXPECT_EQ(all[1].how, "");
    ASSERT_TRUE(all[1].answered.has_value());
    EXPECT_GE(*all[1].answered, all[1].requested);
    EXPECT_GE(all[1].requested, all[0].requested);
}

TEST(ExchangesTest, TheFirstOfTwoAnswersCounts)
{
    Exchanges exchanges;
    const auto exchange = exchanges.Begin(RequestKind::Mtr);
    exchanges.Answer(*exchange);
    const auto answered = exchanges.GetAll().at(0).answered;
    Shared::Time::SleepFor(std::chrono::milliseconds(2));
    exchanges.Answer(*exchange);
    EXPECT_EQ(exchanges.GetAll().at(0).answered, answered);
}

TEST(ExchangesTest, TheyDoNotGrowWithoutEnd)
{
    Exchanges exchanges;
    for (std::size_t i = 0; i < Exchanges::MostKept; ++i)
    {
        ASSERT_TRUE(exchanges.Begin(RequestKind::Poll).has_value());
    }
    EXPECT_EQ(exchanges.Begin(RequestKind::Poll), std::nullopt);
    EXPECT_EQ(exchanges.GetAll().size(), Exchanges::MostKept);
}

} // namespace
