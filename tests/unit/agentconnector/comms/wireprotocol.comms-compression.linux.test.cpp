#include "wireprotocol.comms-compression.hpp"

#include "test.comms-frames.hpp"
#include "test.support-temporaryfolder.hpp"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace
{

// What an operator would do with a frame from a capture.
TEST(CompressFrameProgramTest, TheStandardProgramReadsOurFrames)
{
    const TestSupport::TemporaryFolder folder;
    for (const std::size_t size : {1U, 65'536U, 131'072U, 1'000'000U})
    {
        const std::string text = TestComms::TextOf(size);
        const std::string frame = (folder.Path() / (std::to_string(size) + ".lz4")).string();
        const std::string out = (folder.Path() / std::to_string(size)).string();
        TestSupport::WriteFile(frame, WireProtocol::Comms::CompressFrame(text));
        // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): the shell finds the program, and only this test runs.
        ASSERT_EQ(std::system(("lz4 -q -d -f '" + frame + "' '" + out + "'").c_str()), 0) << size;
        EXPECT_TRUE(TestSupport::ReadFile(out) == text) << size;
    }
}

} // namespace
