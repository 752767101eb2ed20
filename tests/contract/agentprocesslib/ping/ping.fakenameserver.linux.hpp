#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace PingTest
{

/// A name server on loopback, over UDP, that answers as it is told. Answers from a thread of its own.
class FakeNameServer
{
public:
    /// The datagrams that come back for a question, given as it came.
    using Answer = std::function<std::vector<std::string>(const std::string& question)>;

    /// @param port 0 for one that is free
    explicit FakeNameServer(Answer answer, std::uint16_t port = 0);
    FakeNameServer(const FakeNameServer&) = delete;
    FakeNameServer& operator=(const FakeNameServer&) = delete;
    ~FakeNameServer();

    /// As resolvers are told of it.
    std::string GetAddress() const;

    /// How many questions have come.
    int CountQuestions() const noexcept;

private:
    void Serve();

    Answer m_answer;
    int m_socket = -1;
    int m_stop = -1;
    std::atomic<int> m_questions{0};
    std::thread m_thread;
};

/// The answer to a question: its header and question with these flags, then that many records.
std::string MakeAnswer(
    const std::string& question, std::uint16_t flags, std::uint16_t records, const std::string& recordBytes);

/// A record of the asked name: type A or AAAA and the address's bytes.
std::string MakeRecord(std::uint16_t type, const std::string& address);

/// An answer without failure with that record.
inline constexpr std::uint16_t NoError = 0x8180;
inline constexpr std::uint16_t ServerFailure = 0x8182;
inline constexpr std::uint16_t NoSuchName = 0x8183;
inline constexpr std::uint16_t Refused = 0x8185;
inline constexpr std::uint16_t TypeA = 1;
inline constexpr std::uint16_t TypeAaaa = 28;

/// Says that the name has the address 192.0.2.53.
std::vector<std::string> AnswerWell(const std::string& question);

} // namespace PingTest
