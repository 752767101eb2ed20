#include "agentcore.io-ioworker.hpp"

#include "contract.ioworkertest.hpp"
#include "contract.pipeplatform.hpp"
#include "contract.residentsize.hpp"
#include "test.support-sanitizers.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

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
        StopListening();
    }

    /// Sends messages with the numbers from `first` on, and takes what comes back, which must be the same in this order.
    void Exchange(std::uint32_t first, std::uint32_t count)
    {
        const std::string payload(PayloadSize, 'x');
        for (std::uint32_t number = first; number < first + count; ++number)
        {
            Send(24102, number, 0, payload);
        }
        ASSERT_TRUE(AwaitMessages(count)) << m_in.Size() << " of " << count << " from number " << first;
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
    m_worker->ReconnectConnector(L"echo");
    ASSERT_NO_FATAL_FAILURE(Exchange(0, 1));
    const Contract::Holdings after1 = Contract::CountHoldings();
    for (int i = 0; i < 100; ++i)
    {
        m_worker->ReconnectConnector(L"echo");
    }
    ASSERT_NO_FATAL_FAILURE(Exchange(0, 1));
    Contract::Holdings after101 = Contract::CountHoldings();
    // What ends with the connector before may take a moment.
    (void)Await(
        [&]
        {
            after101 = Contract::CountHoldings();
            return after101.handles <= after1.handles && after101.threads <= after1.threads;
        });
    EXPECT_EQ(after101.handles, after1.handles);
    EXPECT_EQ(after101.threads, after1.threads);
}

} // namespace
