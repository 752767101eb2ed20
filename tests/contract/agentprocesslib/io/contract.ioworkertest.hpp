#pragma once

#include "agentcore.io-ioworker.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-time.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <gmock/gmock.h>

namespace Contract
{

/// A worker with a connector of the tests, whose behaviour is its server's name. The shortest delays that there are.
class IOWorkerTest : public ::testing::Test
{
protected:
    /// Lets a test give the worker any command.
    class Worker : public AgentCore::IO::IOWorker
    {
    public:
        using IOWorker::IOWorker;
        using IOWorker::Post;
    };

    IOWorkerTest();
    ~IOWorkerTest() override;

    /// For connectors that never come: ten seconds of waiting for one take one.
    static void LiveFaster();
    /// The delay after each failure, in seconds: the first one, which doubles up to the longest. The process reads it once,
    /// at its first failure, so each test needs a process of its own.
    static void SetDelays(std::uint32_t first, std::uint32_t longest);
    /// From now on only warnings and errors are kept, so that the test's own log does not grow.
    static void KeepTroubleAlone();
    /// The lines of warnings and errors so far, for a failure's message.
    std::string Trouble() const;

    void Prepare(const std::wstring& mode);
    /// Prepare(), and the thread.
    void Start(const std::wstring& mode);
    /// Tells the worker to stop and awaits its end.
    void Stop();

    static bool Await(const std::function<bool()>& holds);
    bool AwaitLine(Shared::Log::Level level, const std::string& text, std::size_t times = 1);
    bool AwaitConnection(std::size_t times = 1);
    bool AwaitMessages(std::size_t count);

    /// Queues a message that the connector sends back as if the server had sent it.
    void Send(
        std::uint32_t msgId,
        std::uint32_t seqNum,
        std::uint32_t flags = 0,
        const std::string& payload = "{}",
        std::uint32_t status = 0);

    TestSupport::EventNames m_names;
    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    AgentCore::IO::IOWorker::OutQueue m_out;
    AgentCore::IO::IOWorker::InQueue m_in;
    std::unique_ptr<Worker> m_worker;
};

} // namespace Contract
