#include "agentcore.io-ioworker.hpp"

#include "contract.ioworkertest.hpp"
#include "contract.pipeplatform.hpp"
#include "contract.residentsize.hpp"
#include "test.support-sanitizers.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>

namespace
{

using Contract::IOWorkerTest;
using WireProtocol::Comms::InboundMessage;

constexpr std::uint32_t MessageCount = 10'000;
/// What a process has grown to once everything has been used.
constexpr std::uint32_t WarmUpCount = 1000;
/// As many as go through the queues at a time: their element 0 is taken by shifting all others.
constexpr std::uint32_t BatchSize = 100;
/// For what an allocator and the system keep. Losing each message once would be more: 9000 of over a kilobyte each.
constexpr std::size_t ToleranceBytes = 4U * 1024 * 1024;
constexpr std::size_t PayloadSize = 1024;

class IOWorkerEnduranceTest : public IOWorkerTest
{
protected:
    void Connect()
    {
        Start(L"echo");
        ASSERT_TRUE(AwaitConnection());
        KeepTroubleAlone();
    }

    /// What the process holds once the worker waits for the connector and nothing ends any more.
    static Contract::Holdings SettledHoldings()
    {
        constexpr int Enough = 50;
        Contract::Holdings holdings = Contract::CountHoldings();
        for (int same = 0; same < Enough;)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            const Contract::Holdings now = Contract::CountHoldings();
            same = now.handles == holdings.handles && now.threads == holdings.threads ? same + 1 : 0;
            holdings = now;
        }
        return holdings;
    }

    /// Sends messages with the numbers from `first` on, and takes what comes back, which must be the same in this order.
    void Exchange(std::uint32_t first, std::uint32_t count)
    {
        const std::string payload(PayloadSize, 'x');
        for (std::uint32_t number = first; number < first + count; ++number)
        {
            Send(24102, number, 0, payload);
        }
        ASSERT_TRUE(AwaitMessages(count)) << m_in.Size() << " of " << count << " from number " << first << Trouble();
        std::uint32_t expected = first;
        m_in.Drain(
            [&](const InboundMessage& message)
            {
                EXPECT_EQ(message.SeqNum, expected++);
                EXPECT_EQ(message.Payload.size(), PayloadSize);
            });
        EXPECT_EQ(expected, first + count);
    }
};

TEST_F(IOWorkerEnduranceTest, TenThousandMessagesGoOutAndComeInWholeInOrderAndLeaveNothing)
{
    Connect();
    std::size_t warm = 0;
    for (std::uint32_t number = 0; number < MessageCount; number += BatchSize)
    {
        if (number == WarmUpCount)
        {
            warm = Contract::ResidentBytes();
        }
        ASSERT_NO_FATAL_FAILURE(Exchange(number, BatchSize));
    }
    const std::size_t now = Contract::ResidentBytes();
    EXPECT_GT(warm, 0U);
    if (!TestSupport::IsAddressSanitized && !TestSupport::IsThreadSanitized)
    {
        EXPECT_LE(now, warm + ToleranceBytes);
    }
    RecordProperty(
        "grown_bytes", static_cast<int>(static_cast<std::ptrdiff_t>(now) - static_cast<std::ptrdiff_t>(warm)));
    EXPECT_TRUE(m_out.Empty());
}

TEST_F(IOWorkerEnduranceTest, AHundredReconnectionsLeaveNoHandleAndNoThread)
{
    Connect();
    ASSERT_NO_FATAL_FAILURE(Exchange(0, 1));
    m_worker->ReconnectConnector(L"echo");
    const Contract::Holdings after1 = SettledHoldings();
    for (int i = 0; i < 100; ++i)
    {
        m_worker->ReconnectConnector(L"echo");
    }
    const Contract::Holdings after101 = SettledHoldings();
    // Each of the two pipes keeps an event of an operation that is over for the next one, or has none to keep.
    constexpr std::size_t Spares = 2;
    EXPECT_LE(after101.handles, after1.handles + Spares);
    EXPECT_EQ(after101.threads, after1.threads);
    ASSERT_NO_FATAL_FAILURE(Exchange(0, 1));
}

} // namespace
