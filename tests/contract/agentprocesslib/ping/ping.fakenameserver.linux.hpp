#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace PingTest
{

/// A name server on loopback that answers as it is told, from a thread of its own.
class FakeNameServer
{
public:
    /// The messages that come back for a question, given as it came.
    using Answer = std::function<std::vector<std::string>(const std::string& question)>;

    /// What happens over TCP, at the same port.
    struct OverTcp
    {
        /// Without it, connections are broken off at once.
        Answer answer;
    };

    /// Over UDP alone.
    /// @param port 0 for one that is free
    explicit FakeNameServer(Answer answer, std::uint16_t port = 0);
    /// Over UDP and TCP.
    FakeNameServer(Answer answer, OverTcp overTcp, std::uint16_t port = 0);
    FakeNameServer(const FakeNameServer&) = delete;
    FakeNameServer& operator=(const FakeNameServer&) = delete;
    ~FakeNameServer();

    /// As resolvers are told of it.
    std::string GetAddress() const;

    /// How many questions have come, over UDP.
    int CountQuestions() const noexcept;
    /// How many connections have come.
    int CountConnections() const noexcept;

private:
    void Serve();
    void ServeDatagram();
    void ServeConnection();

    Answer m_answer;
    OverTcp m_overTcp;
    int m_socket = -1;
    /// None when there is nothing over TCP.
    int m_listener = -1;
    int m_stop = -1;
    std::atomic<int> m_questions{0};
    std::atomic<int> m_connections{0};
    std::thread m_thread;
};

/// Whether a question is for IPv4 addresses.
bool AsksForIpV4(const std::string& question);

/// The answer to a question: its header and question with these flags, then that many records.
std::string MakeAnswer(
    const std::string& question, std::uint16_t flags, std::uint16_t records, const std::string& recordBytes);

/// A record of the asked name: type A or AAAA and the address's bytes.
std::string MakeRecord(std::uint16_t type, const std::string& address);

/// Flags of an answer without failure, of one that is cut because a datagram has no room for it, and of failures.
inline constexpr std::uint16_t NoError = 0x8180;
inline constexpr std::uint16_t IsCut = 0x8380;
inline constexpr std::uint16_t ServerFailure = 0x8182;
inline constexpr std::uint16_t NoSuchName = 0x8183;
inline constexpr std::uint16_t Refused = 0x8185;
inline constexpr std::uint16_t TypeA = 1;
inline constexpr std::uint16_t TypeAaaa = 28;

/// Says that the name has the address 192.0.2.53.
std::vector<std::string> AnswerWell(const std::string& question);

/// Says that the answer has no room.
std::vector<std::string> AnswerCut(const std::string& question);

/// Says that the name has so many IPv4 addresses, 10.0.0.0 and those that follow; none for questions for others.
std::vector<std::string> AnswerWithMany(const std::string& question, std::uint16_t count);

} // namespace PingTest
