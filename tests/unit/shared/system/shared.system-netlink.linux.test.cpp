#include "shared.system-netlink.linux.hpp"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test.support-netlink.linux.hpp"

#include <linux/rtnetlink.h>

namespace
{

using namespace Shared::System;
using namespace TestSupport;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t Kind = RTM_NEWLINK;
constexpr std::uint32_t Port = 4711;

struct Read
{
    std::optional<int> end;
    std::vector<std::uint16_t> types;
};

Read ReadDatagram(const std::string& datagram)
{
    Read read;
    read.end = ReadNetlinkDatagram(
        datagram, NetlinkRequest::Sequence, Port,
        [&read](const NetlinkMessage& message) { read.types.push_back(message.GetType()); });
    return read;
}

nlmsghdr& HeaderOf(std::string& message)
{
    return *reinterpret_cast<nlmsghdr*>(message.data());
}

TEST(NetlinkDatagramTest, HandsOnEachMessageAndWaitsForMore)
{
    const auto read = ReadDatagram(NetlinkMessageBytes(Kind, "") + NetlinkMessageBytes(RTM_NEWADDR, "abcd"));
    EXPECT_THAT(read.types, ElementsAre(Kind, RTM_NEWADDR));
    EXPECT_EQ(read.end, std::nullopt);
}

TEST(NetlinkDatagramTest, IsWholeAtTheEndOfTheTable)
{
    const auto read = ReadDatagram(NetlinkMessageBytes(Kind, "") + NetlinkDone() + NetlinkMessageBytes(Kind, ""));
    EXPECT_THAT(read.types, ElementsAre(Kind));
    EXPECT_EQ(read.end, 0);
    EXPECT_EQ(ReadDatagram(NetlinkMessageBytes(NLMSG_DONE, "")).end, 0);
}

TEST(NetlinkDatagramTest, TheEndOfATableCanTellAFailure)
{
    EXPECT_EQ(ReadDatagram(NetlinkMessageBytes(NLMSG_DONE, BytesOf(-ENODEV))).end, ENODEV);
}

TEST(NetlinkDatagramTest, ARefusalGivesItsCodeAndAnAcknowledgementNone)
{
    EXPECT_EQ(ReadDatagram(NetlinkError(EPERM)).end, EPERM);
    EXPECT_EQ(ReadDatagram(NetlinkError(0)).end, 0);
}

TEST(NetlinkDatagramTest, ADamagedRefusalIsABadMessage)
{
    EXPECT_EQ(ReadDatagram(NetlinkMessageBytes(NLMSG_ERROR, "ab")).end, EBADMSG);
    EXPECT_EQ(ReadDatagram(NetlinkMessageBytes(NLMSG_ERROR, BytesOf(EPERM))).end, EBADMSG);
    EXPECT_EQ(ReadDatagram(NetlinkMessageBytes(NLMSG_ERROR, BytesOf(INT32_MIN))).end, EBADMSG);
}

TEST(NetlinkDatagramTest, AnOverrunHasLostMessages)
{
    EXPECT_EQ(ReadDatagram(NetlinkMessageBytes(NLMSG_OVERRUN, "")).end, ENOBUFS);
}

TEST(NetlinkDatagramTest, ATableThatChangedMustBeReadAnew)
{
    const auto read = ReadDatagram(
        NetlinkMessageBytes(Kind, "") + NetlinkMessageBytes(Kind, "", NLM_F_MULTI | NLM_F_DUMP_INTR) +
        NetlinkMessageBytes(Kind, ""));
    EXPECT_THAT(read.types, ElementsAre(Kind));
    EXPECT_EQ(read.end, EINTR);
}

TEST(NetlinkDatagramTest, PassesOverAnswersToOthers)
{
    auto otherRequest = NetlinkMessageBytes(Kind, "");
    HeaderOf(otherRequest).nlmsg_seq = NetlinkRequest::Sequence + 1;
    auto otherPort = NetlinkMessageBytes(Kind, "");
    HeaderOf(otherPort).nlmsg_pid = Port + 1;
    auto own = NetlinkMessageBytes(RTM_NEWADDR, "");
    HeaderOf(own).nlmsg_pid = Port;
    EXPECT_THAT(ReadDatagram(otherRequest + otherPort + own).types, ElementsAre(RTM_NEWADDR));
}

TEST(NetlinkDatagramTest, StopsAtAMessageThatIsLongerThanTheDatagram)
{
    auto message = NetlinkMessageBytes(Kind, "abcd");
    EXPECT_THAT(ReadDatagram(message).types, ElementsAre(Kind));
    HeaderOf(message).nlmsg_len += 4;
    EXPECT_THAT(ReadDatagram(message).types, IsEmpty());
    HeaderOf(message).nlmsg_len = 0xFFFFFFFF;
    EXPECT_THAT(ReadDatagram(message).types, IsEmpty());
    HeaderOf(message).nlmsg_len = 3;
    EXPECT_THAT(ReadDatagram(message).types, IsEmpty());
}

TEST(NetlinkDatagramTest, AnEmptyDatagramIsNoEnd)
{
    EXPECT_EQ(ReadDatagram("").end, std::nullopt);
}

TEST(NetlinkMessageTest, AHeaderThatDoesNotFitIsNone)
{
    std::vector<std::optional<ifinfomsg>> headers;
    const auto read = [&headers](const std::string& message)
    {
        ReadNetlinkDatagram(
            message, NetlinkRequest::Sequence, Port,
            [&headers](const NetlinkMessage& row)
            {
                headers.push_back(row.ReadHeader<ifinfomsg>());
                EXPECT_EQ(row.GetAttributes(sizeof(ifinfomsg)).size(), 0U);
            });
    };
    ifinfomsg header{};
    header.ifi_index = 7;
    read(NetlinkMessageBytes(Kind, BytesOf(header)));
    read(NetlinkMessageBytes(Kind, BytesOf(header).substr(1)));
    ASSERT_EQ(headers.size(), 2U);
    EXPECT_EQ(headers[0].value_or(ifinfomsg{}).ifi_index, 7);
    EXPECT_FALSE(headers[1].has_value());
}

TEST(NetlinkAttributesTest, FindsNumbersTextsAndNestedOnes)
{
    const auto bytes = NetlinkNumber<std::uint32_t>(1, 42) + NetlinkText(2, "name") +
        NetlinkAttribute(3 | NLA_F_NESTED, NetlinkNumber<std::uint8_t>(1, 7));
    const NetlinkAttributes attributes{bytes};
    EXPECT_EQ(attributes.Read<std::uint32_t>(1), 42U);
    EXPECT_EQ(attributes.Text(2), "name");
    EXPECT_EQ(attributes.Nested(3).Read<std::uint8_t>(1), 7);
    EXPECT_FALSE(attributes.Find(4).has_value());
    EXPECT_EQ(attributes.Text(4), "");
    EXPECT_FALSE(attributes.Nested(4).Find(1).has_value());
}

TEST(NetlinkAttributesTest, ANumberThatDoesNotFitIsNone)
{
    const auto bytes = NetlinkNumber<std::uint16_t>(1, 42);
    EXPECT_FALSE(NetlinkAttributes{bytes}.Read<std::uint32_t>(1).has_value());
    EXPECT_EQ(NetlinkAttributes{bytes}.Read<std::uint8_t>(1), 42);
}

TEST(NetlinkAttributesTest, OfSeveralOfOneNumberTheLastCounts)
{
    const auto bytes = NetlinkNumber<std::uint32_t>(1, 42) + NetlinkNumber<std::uint32_t>(1, 43);
    EXPECT_EQ(NetlinkAttributes{bytes}.Read<std::uint32_t>(1), 43U);
}

TEST(NetlinkAttributesTest, StopsAtOneThatIsLongerThanTheRest)
{
    auto bytes = NetlinkNumber<std::uint32_t>(1, 42) + NetlinkNumber<std::uint32_t>(2, 43);
    reinterpret_cast<nlattr*>(bytes.data() + 8)->nla_len = 9;
    EXPECT_EQ(NetlinkAttributes{bytes}.Read<std::uint32_t>(1), 42U);
    EXPECT_FALSE(NetlinkAttributes{bytes}.Find(2).has_value());
    reinterpret_cast<nlattr*>(bytes.data() + 8)->nla_len = 3;
    EXPECT_FALSE(NetlinkAttributes{bytes}.Find(2).has_value());
}

TEST(NetlinkAttributesTest, TheLastOneNeedsNoFilling)
{
    auto bytes = NetlinkAttribute(1, "a");
    bytes.resize(bytes.size() - 3);
    EXPECT_EQ(NetlinkAttributes{bytes}.Text(1), "a");
}

TEST(NetlinkRequestTest, AskesForATableOrForAnAcknowledgement)
{
    ifinfomsg header{};
    header.ifi_index = 7;
    NetlinkRequest request{RTM_GETLINK, NLM_F_DUMP, header};
    request.PutNumber(1, 42);
    request.PutText(2, "x");
    const auto bytes = request.Get();
    nlmsghdr written{};
    std::memcpy(&written, bytes.data(), sizeof(written));
    EXPECT_EQ(written.nlmsg_len, bytes.size());
    EXPECT_EQ(written.nlmsg_type, RTM_GETLINK);
    EXPECT_EQ(written.nlmsg_flags, NLM_F_REQUEST | NLM_F_DUMP);
    EXPECT_EQ(written.nlmsg_seq, NetlinkRequest::Sequence);
    EXPECT_EQ(
        std::string(bytes.data() + sizeof(written), bytes.size() - sizeof(written)),
        BytesOf(header) + NetlinkNumber<std::uint32_t>(1, 42) + NetlinkText(2, "x"));

    const NetlinkRequest single{RTM_GETLINK, 0, header};
    std::memcpy(&written, single.Get().data(), sizeof(written));
    EXPECT_EQ(written.nlmsg_flags, NLM_F_REQUEST | NLM_F_ACK);
}

using Rows = std::vector<std::uint16_t>;

void CollectType(const NetlinkMessage& message, Rows& rows)
{
    rows.push_back(message.GetType());
}

/// Reads a table whose tries are answered by one element of `tries` each.
int ReadTable(std::vector<std::vector<std::string>> tries, Rows& rows, std::size_t& triesMade)
{
    triesMade = 0;
    return ReadNetlinkTable(
        OpenFakeNetlink([&tries, &triesMade](std::span<const char>)
                        { return tries.at(std::min(triesMade++, tries.size() - 1)); }),
        NetlinkRequest{RTM_GETLINK, NLM_F_DUMP, ifinfomsg{}}, &CollectType, rows);
}

TEST(NetlinkTableTest, IsReadOverSeveralDatagrams)
{
    Rows rows;
    std::size_t tries = 0;
    EXPECT_EQ(ReadTable({{NetlinkMessageBytes(16, ""), NetlinkMessageBytes(17, ""), NetlinkDone()}}, rows, tries), 0);
    EXPECT_THAT(rows, ElementsAre(16, 17));
    EXPECT_EQ(tries, 1U);
}

TEST(NetlinkTableTest, OneThatChangedIsReadAnewAndNothingIsTwice)
{
    Rows rows;
    std::size_t tries = 0;
    const auto changed = NetlinkMessageBytes(17, "", NLM_F_MULTI | NLM_F_DUMP_INTR);
    EXPECT_EQ(
        ReadTable({{NetlinkMessageBytes(16, "") + changed}, {NetlinkMessageBytes(18, ""), NetlinkDone()}}, rows, tries),
        0);
    EXPECT_THAT(rows, ElementsAre(18));
    EXPECT_EQ(tries, 2U);
}

TEST(NetlinkTableTest, OneThatNeverHoldsStillIsGivenUpWithWhatWasRead)
{
    Rows rows;
    std::size_t tries = 0;
    const auto changed = NetlinkMessageBytes(17, "", NLM_F_MULTI | NLM_F_DUMP_INTR);
    EXPECT_EQ(ReadTable({{NetlinkMessageBytes(16, "") + changed}}, rows, tries), EAGAIN);
    EXPECT_THAT(rows, ElementsAre(16));
    EXPECT_EQ(tries, static_cast<std::size_t>(MostNetlinkTries));
}

TEST(NetlinkTableTest, ARefusalLeavesTheRowsAlone)
{
    Rows rows{99};
    std::size_t tries = 0;
    EXPECT_EQ(ReadTable({{NetlinkError(EPERM)}}, rows, tries), EPERM);
    EXPECT_THAT(rows, ElementsAre(99));
    EXPECT_EQ(tries, 1U);
}

TEST(NetlinkTableTest, AnAnswerThatBreaksOffIsAFailure)
{
    Rows rows;
    std::size_t tries = 0;
    EXPECT_EQ(ReadTable({{NetlinkMessageBytes(16, "")}}, rows, tries), EAGAIN);
    EXPECT_THAT(rows, IsEmpty());
}

TEST(NetlinkTableTest, WithoutATransportTheReasonIsGiven)
{
    Rows rows;
    const auto refuse = []() -> std::unique_ptr<NetlinkTransport>
    {
        errno = EPROTONOSUPPORT;
        return nullptr;
    };
    EXPECT_EQ(
        ReadNetlinkTable(refuse, NetlinkRequest{RTM_GETLINK, NLM_F_DUMP, ifinfomsg{}}, &CollectType, rows),
        EPROTONOSUPPORT);
}

TEST(NetlinkSocketTest, TheKernelAnswers)
{
    Rows rows;
    EXPECT_EQ(
        ReadNetlinkTable(
            [] { return OpenNetlink(NETLINK_ROUTE); }, NetlinkRequest{RTM_GETLINK, NLM_F_DUMP, ifinfomsg{}},
            &CollectType, rows),
        0);
    EXPECT_THAT(rows, testing::Not(IsEmpty()));
    EXPECT_THAT(rows, testing::Each(RTM_NEWLINK));
}

TEST(NetlinkSocketTest, TheKernelRefusesWhatItDoesNotKnow)
{
    Rows rows;
    ifinfomsg header{};
    header.ifi_index = 0x7FFFFFF0;
    EXPECT_EQ(
        ReadNetlinkTable(
            [] { return OpenNetlink(NETLINK_ROUTE); }, NetlinkRequest{RTM_GETLINK, 0, header}, &CollectType, rows),
        ENODEV);
}

TEST(NetlinkSocketTest, AProtocolThatDoesNotExistIsNotOpened)
{
    EXPECT_EQ(OpenNetlink(1000), nullptr);
}

} // namespace
