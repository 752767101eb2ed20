// Any text as an answer with MTR tests; what has to hold is told in fuzz.testlists.hpp.

#include "agentcore.messaging-objectgenerator.hpp"
#include "fuzz.silence.hpp"
#include "fuzz.testlists.hpp"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Fuzz::Silence s_silence;
    Fuzz::CheckTestList<AgentCore::Messaging::MtrTest>(
        {reinterpret_cast<const char*>(data), size}, "/config/mtr/", &AgentCore::Messaging::ProcessMtrConfigMessage);
    return 0;
}
