#pragma once

#include "lab.connector-channel.hpp"
#include "lab.connector-cloudside.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-threadsafequeue.hpp"

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace TestLab
{

/// The agent's side of a channel, within this process. What the test puts in is what the connector receives.
class FakeChannel final : public Lab::MessageChannel
{
public:
    FakeChannel();

    /// The agent has written this message.
    void Arrive(const std::string& message);
    /// The agent's end is gone.
    void Break();
    /// From now on the agent takes no message, until it does again.
    void Block(bool blocks);
    /// The next message that the agent has got; waits for it, and gives nothing when none comes.
    std::optional<std::string> TakeSent(std::uint32_t timeoutMs);

    Shared::Raii::RawHandle GetReceivedHandle() const override;
    std::optional<std::string> TakeReceived() override;
    void StartSend(const std::string& message) override;
    Shared::Raii::RawHandle GetSentHandle() const override;
    void FinishSend() override;

private:
    Shared::Concurrency::ThreadSafeQueue<std::string> m_arrived;
    Shared::Concurrency::ThreadSafeQueue<std::string> m_sent;
    Shared::Concurrency::Event m_mayTake;
    std::atomic<bool> m_isBroken = false;
    std::string m_sending;
};

/// A way to the cloud that keeps what is sent.
class FakeCloudSide final : public Lab::Connector::CloudSide
{
public:
    bool Send(std::string envelope) override;
    Shared::Raii::RawHandle GetReceivedHandle() const override;
    bool TakeReceived(std::string& envelope) override;
    void Fragment(const Lab::Net::Fragments& fragments, std::chrono::milliseconds duration) override;

    /// The cloud has sent this envelope.
    void Arrive(const std::string& envelope);
    std::optional<std::string> TakeSent(std::uint32_t timeoutMs);
    /// Takes nothing any more.
    void SetFull();
    std::size_t GetFragmentBytes() const;

private:
    Shared::Concurrency::ThreadSafeQueue<std::string> m_arrived;
    Shared::Concurrency::ThreadSafeQueue<std::string> m_sent;
    std::atomic<bool> m_isFull = false;
    std::atomic<std::size_t> m_fragmentBytes = 0;
};

} // namespace TestLab
