#include "wireprotocol.comms-functions.hpp"

#include "test.support-capturedlog.hpp"
#include "test.support-memory.linux.hpp"
#include "test.support-sanitizers.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

using namespace WireProtocol::Comms;

TEST(DecodeRouterMessageMemoryTest, AMillionTinyFramesLeaveNoMemoryBehind)
{
    constexpr int Count = TestSupport::IsAddressSanitized || TestSupport::IsThreadSanitized ? 50'000 : 1'000'000;
    // A sequence number and a payload, so short and yet different each time.
    std::vector<std::uint8_t> frame = {0x08, 0x00, 0x42, 0x02, '{', '}'};
    std::uint64_t sum = 0;
    (void)RouterMessageToInboundMessage(DecodeRouterMessage(frame));
    const std::size_t before = TestSupport::ResidentBytes();
    for (int i = 0; i < Count; ++i)
    {
        frame[1] = static_cast<std::uint8_t>(i & 0x7F);
        sum += RouterMessageToInboundMessage(DecodeRouterMessage(frame)).SeqNum;
    }
    std::uint64_t expected = 0;
    for (int i = 0; i < Count; ++i)
    {
        expected += static_cast<std::uint64_t>(i & 0x7F);
    }
    EXPECT_EQ(sum, expected);
    if (!TestSupport::IsAddressSanitized && !TestSupport::IsThreadSanitized)
    {
        EXPECT_LE(TestSupport::ResidentBytes(), before + 1024UL * 1024);
    }
}
