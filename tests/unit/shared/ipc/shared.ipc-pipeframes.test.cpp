#include "shared.ipc-pipeframes.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

using namespace Shared::Ipc::Frames;
using Bytes = std::vector<std::uint8_t>;

namespace
{

Bytes Numbered(std::size_t size)
{
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

/// A packet with `part` of which the header says that `remaining` bytes follow.
Bytes Packet(std::size_t remaining, const Bytes& part)
{
    const Header header = EncodeHeader(static_cast<std::uint32_t>(remaining));
    Bytes packet(header.size() + part.size());
    std::copy(part.begin(), part.end(), std::copy(header.begin(), header.end(), packet.begin()));
    return packet;
}

/// Puts a packet where the reader wants it, as the system does.
std::optional<std::size_t> Bring(MessageReader& reader, const Bytes& packet, std::span<std::uint8_t> direct = {})
{
    const MessageReader::Places places = reader.Prepare(direct);
    std::size_t done = 0;
    for (const auto& place : {places.header, places.direct, places.kept})
    {
        const std::size_t count = std::min(place.size(), packet.size() - done);
        std::copy_n(packet.begin() + static_cast<std::ptrdiff_t>(done), count, place.begin());
        done += count;
    }
    return reader.Accept(packet.size());
}

Bytes TakeAll(MessageReader& reader, std::size_t size)
{
    Bytes bytes(size);
    bytes.resize(reader.Take(bytes));
    return bytes;
}

} // namespace

TEST(PipeFramesTest, AHeaderIsTheNumberLowByteFirst)
{
    EXPECT_EQ(EncodeHeader(0x04030201), (Header{1, 2, 3, 4}));
    EXPECT_EQ(EncodeHeader(0), (Header{0, 0, 0, 0}));
}

TEST(MessageReaderTest, StartsOutsideOfAMessage)
{
    MessageReader reader;
    EXPECT_FALSE(reader.IsInMessage());
    EXPECT_FALSE(reader.IsAtEnd());
    EXPECT_EQ(reader.GetUnread(), 0U);
    EXPECT_TRUE(TakeAll(reader, 10).empty());
}

TEST(MessageReaderTest, AMessageOfOnePacketIsTakenInPiecesOfAnySize)
{
    MessageReader reader;
    EXPECT_EQ(Bring(reader, Packet(5, {1, 2, 3, 4, 5})), 0U);
    EXPECT_TRUE(reader.IsInMessage());
    EXPECT_EQ(reader.GetUnread(), 5U);
    EXPECT_EQ(TakeAll(reader, 2), (Bytes{1, 2}));
    EXPECT_EQ(reader.GetUnread(), 3U);
    EXPECT_FALSE(reader.IsAtEnd());
    EXPECT_EQ(TakeAll(reader, 0), Bytes());
    EXPECT_EQ(TakeAll(reader, 100), (Bytes{3, 4, 5}));
    EXPECT_TRUE(reader.IsAtEnd());
    reader.FinishMessage();
    EXPECT_FALSE(reader.IsInMessage());
}

TEST(MessageReaderTest, AnEmptyMessageIsAMessageAtItsEnd)
{
    MessageReader reader;
    EXPECT_EQ(Bring(reader, Packet(0, {})), 0U);
    EXPECT_TRUE(reader.IsInMessage());
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_EQ(reader.GetUnread(), 0U);
}

TEST(MessageReaderTest, BytesGoToTheReadersMemoryFirstAndTheRestIsKept)
{
    MessageReader reader;
    Bytes direct(3);
    EXPECT_EQ(Bring(reader, Packet(5, {1, 2, 3, 4, 5}), direct), 3U);
    EXPECT_EQ(direct, (Bytes{1, 2, 3}));
    EXPECT_EQ(reader.GetUnread(), 2U);
    EXPECT_EQ(TakeAll(reader, 100), (Bytes{4, 5}));
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST(MessageReaderTest, AShortMessageLeavesTheReadersMemoryPartlyAsItWas)
{
    MessageReader reader;
    Bytes direct(4, 9);
    EXPECT_EQ(Bring(reader, Packet(1, {1}), direct), 1U);
    EXPECT_EQ(direct, (Bytes{1, 9, 9, 9}));
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST(MessageReaderTest, ALongMessageGoesOverSeveralPackets)
{
    const Bytes message = Numbered(LargestPart + SmallestPart + 1);
    const Bytes first(message.begin(), message.begin() + LargestPart);
    const Bytes second(first.size() + message.begin(), first.size() + message.begin() + SmallestPart);
    MessageReader reader;
    Bytes whole(message.size());
    const auto rest = [&](std::size_t done)
    {
        return std::span(whole).subspan(done);
    };
    ASSERT_EQ(Bring(reader, Packet(message.size(), first), rest(0)), LargestPart);
    EXPECT_EQ(reader.GetUnread(), SmallestPart + 1);
    EXPECT_FALSE(reader.IsAtEnd());
    ASSERT_EQ(Bring(reader, Packet(SmallestPart + 1, second), rest(LargestPart)), SmallestPart);
    ASSERT_EQ(Bring(reader, Packet(1, {message.back()}), rest(message.size() - 1)), 1U);
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_EQ(whole, message);
}

TEST(MessageReaderTest, AMillionTinyMessagesGoThroughTheSameMemory)
{
    MessageReader reader;
    const Bytes packet = Packet(1, {5});
    const std::uint8_t* const place = reader.Prepare({}).kept.data();
    for (int i = 0; i < 1'000'000; ++i)
    {
        ASSERT_EQ(Bring(reader, packet), 0U);
        std::array<std::uint8_t, 2> taken{};
        ASSERT_EQ(reader.Take(taken), 1U);
        ASSERT_TRUE(reader.IsAtEnd());
        reader.FinishMessage();
    }
    EXPECT_EQ(reader.Prepare({}).kept.data(), place);
}

TEST(MessageReaderTest, WhatWasTakenCanBePutBack)
{
    MessageReader reader;
    Bytes direct(2);
    ASSERT_EQ(Bring(reader, Packet(5, {1, 2, 3, 4, 5}), direct), 2U);
    const Bytes taken = TakeAll(reader, 1);
    reader.PutBack(taken);
    reader.PutBack(direct);
    EXPECT_EQ(reader.GetUnread(), 5U);
    EXPECT_EQ(TakeAll(reader, 100), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST(MessageReaderTest, MoreCanBePutBackThanAPacketHolds)
{
    MessageReader reader;
    Bytes part(LargestPart, 1);
    const auto size = static_cast<std::uint32_t>(3 * LargestPart);
    Bytes taken;
    for (std::size_t remaining = size; remaining > LargestPart; remaining -= LargestPart)
    {
        Bytes direct(LargestPart);
        ASSERT_EQ(Bring(reader, Packet(remaining, part), direct), LargestPart);
        taken.insert(taken.end(), direct.begin(), direct.end());
    }
    reader.PutBack(taken);
    EXPECT_EQ(reader.GetUnread(), size);
    EXPECT_EQ(TakeAll(reader, size).size(), 2 * LargestPart);
    ASSERT_EQ(Bring(reader, Packet(LargestPart, part)), 0U);
    EXPECT_EQ(TakeAll(reader, size), part);
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST(MessageReaderTest, APacketShorterThanItsHeaderBreaksTheRules)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, HeaderSize - 1})
    {
        MessageReader reader;
        EXPECT_EQ(Bring(reader, Bytes(size, 0)), std::nullopt);
    }
}

TEST(MessageReaderTest, APacketLargerThanTheLargestBreaksTheRules)
{
    MessageReader reader;
    (void)reader.Prepare({});
    EXPECT_EQ(reader.Accept(HeaderSize + LargestPart + 1), std::nullopt);
}

TEST(MessageReaderTest, MoreThanWasPromisedBreaksTheRules)
{
    MessageReader reader;
    EXPECT_EQ(Bring(reader, Packet(2, {1, 2, 3})), std::nullopt);
}

TEST(MessageReaderTest, AMessageThatIsTooLongBreaksTheRules)
{
    for (const std::uint32_t size : {LongestMessage + 1, std::numeric_limits<std::uint32_t>::max()})
    {
        MessageReader reader;
        EXPECT_EQ(Bring(reader, Packet(size, Bytes(SmallestPart))), std::nullopt);
    }
    MessageReader reader;
    EXPECT_EQ(Bring(reader, Packet(LongestMessage, Bytes(SmallestPart))), 0U);
}

TEST(MessageReaderTest, ASmallPartThatIsNotTheLastBreaksTheRules)
{
    MessageReader small;
    EXPECT_EQ(Bring(small, Packet(SmallestPart + 1, Bytes(SmallestPart - 1))), std::nullopt);
    MessageReader none;
    EXPECT_EQ(Bring(none, Packet(1, {})), std::nullopt);
    MessageReader enough;
    EXPECT_EQ(Bring(enough, Packet(SmallestPart + 1, Bytes(SmallestPart))), 0U);
}

TEST(MessageReaderTest, AContinuationThatPromisesSomethingElseBreaksTheRules)
{
    for (const std::size_t claimed : {SmallestPart - 1, SmallestPart + 1})
    {
        MessageReader reader;
        Bytes direct(SmallestPart);
        ASSERT_EQ(Bring(reader, Packet(2 * SmallestPart, Bytes(SmallestPart)), direct), SmallestPart);
        EXPECT_EQ(Bring(reader, Packet(claimed, Bytes(SmallestPart - 1))), std::nullopt);
    }
}
