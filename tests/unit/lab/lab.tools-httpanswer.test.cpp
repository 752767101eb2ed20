#include "lab.tools-httpanswer.hpp"

#include <string>

#include <gtest/gtest.h>

namespace
{

using Lab::Tools::HttpAnswerError;
using Lab::Tools::HttpAnswerReader;

HttpAnswerReader ReadAll(const std::string& text)
{
    HttpAnswerReader reader;
    reader.Add(text);
    return reader;
}

TEST(HttpAnswerReaderTest, StatusAndLengthAreRead)
{
    const HttpAnswerReader reader = ReadAll("HTTP/1.1 302 Found\r\nServer: x\r\ncontent-LENGTH:  5 \r\n\r\nabcde");
    EXPECT_TRUE(reader.HasHead());
    EXPECT_TRUE(reader.IsComplete());
    EXPECT_FALSE(reader.IsCutOff());
    EXPECT_EQ(reader.GetStatus(), 302U);
    EXPECT_EQ(reader.GetBodySize(), 5U);
}

TEST(HttpAnswerReaderTest, ItDoesNotMatterInWhichPartsItComes)
{
    HttpAnswerReader reader;
    for (const char byte : std::string("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nab"))
    {
        EXPECT_FALSE(reader.IsComplete());
        reader.Add(std::string(1, byte));
    }
    EXPECT_TRUE(reader.IsCutOff());
    reader.Add("cd");
    EXPECT_TRUE(reader.IsComplete());
    EXPECT_EQ(reader.GetBodySize(), 3U);
}

TEST(HttpAnswerReaderTest, WithoutALengthTheAnswerEndsWithTheConnection)
{
    HttpAnswerReader reader = ReadAll("HTTP/1.1 200 OK\r\n\r\nab");
    reader.Add("cde");
    EXPECT_FALSE(reader.IsComplete());
    EXPECT_FALSE(reader.IsCutOff());
    EXPECT_EQ(reader.GetBodySize(), 5U);
}

TEST(HttpAnswerReaderTest, SomeAnswersHaveNoBody)
{
    for (const char* const status : {"204", "304"})
    {
        const HttpAnswerReader reader = ReadAll("HTTP/1.1 " + std::string(status) + " x\r\nContent-Length: 9\r\n\r\n");
        EXPECT_TRUE(reader.IsComplete());
    }
}

TEST(HttpAnswerReaderTest, AnAnswerWithoutAHeadIsCutOff)
{
    EXPECT_TRUE(ReadAll("").IsCutOff());
    EXPECT_TRUE(ReadAll("HTTP/1.1 200 OK\r\n").IsCutOff());
    EXPECT_EQ(ReadAll("HTTP/1.1 200 OK\r\n").GetStatus(), 0U);
}

TEST(HttpAnswerReaderTest, WhatIsNoAnswerIsRefused)
{
    for (const char* const text :
         {"\r\n\r\n", "HELLO 200\r\n\r\n", "HTTP/1.1 2x0 OK\r\n\r\n", "HTTP/1.1200 OK\r\n\r\n", "HTTP/1.1 20\r\n\r\n",
          "HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n", "HTTP/1.1 200 OK\r\nContent-Length: \r\n\r\n",
          "HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999999\r\n\r\n"})
    {
        EXPECT_THROW((void)ReadAll(text), HttpAnswerError) << text;
    }
}

TEST(HttpAnswerReaderTest, AnEndlessHeadIsRefused)
{
    HttpAnswerReader reader = ReadAll("HTTP/1.1 200 OK\r\nX: ");
    const std::string part(1000, 'x');
    EXPECT_THROW(
        for (std::size_t i = 0; i <= HttpAnswerReader::LongestHead / part.size(); ++i) { reader.Add(part); },
        HttpAnswerError);
    EXPECT_THROW((void)ReadAll(std::string(1'000'000, 'x')), HttpAnswerError);
}

} // namespace
