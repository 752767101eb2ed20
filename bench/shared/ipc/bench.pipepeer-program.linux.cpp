// The other process of the pipe benchmarks. Its arguments:
//   --echo-pipe <name> <processor>            gives back every message of the pipe, for which it waits itself
//   --echo-pipe-by-event <name> <processor>   the same, and it waits for the event of each read
//   --echo-socket <descriptor> <size> <processor>   gives back every message of that size
//   --drain-pipe <name> <count> <processor>         answers every <count> messages with an empty one
//   --drain-socket <descriptor> <size> <count> <processor>   answers every <count> messages with a byte
// It ends with the other side.

#include "bench.pipepeer.linux.hpp"
#include "shared.ipc-asyncmessagebasednamedpipeclient.hpp"
#include "shared.util-functions.hpp"

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

namespace
{

constexpr std::uint32_t BufferSize = 5120;
constexpr std::uint32_t OpenTimeoutMs = 10'000;

using Bench::PipeTalker;
using Bench::SocketTalker;
using Bench::Wait;

Shared::Ipc::AsyncMessageBasedNamedPipeClient OpenPipe(const char* name)
{
    return {Shared::Util::ConvertStringType(std::string_view(name)), BufferSize, OpenTimeoutMs};
}

[[noreturn]] void EchoPipe(const char* name, Wait wait)
{
    auto pipe = OpenPipe(name);
    PipeTalker talker(pipe, wait);
    while (true)
    {
        std::vector<std::uint8_t> message;
        talker.Receive([&](std::vector<std::uint8_t>& received) { message = std::move(received); });
        (void)talker.Send(std::move(message));
    }
}

[[noreturn]] void DrainPipe(const char* name, int count)
{
    auto pipe = OpenPipe(name);
    PipeTalker talker(pipe, Wait::ForIt);
    while (true)
    {
        for (int i = 0; i < count; ++i)
        {
            talker.Receive([](const std::vector<std::uint8_t>&) {});
        }
        (void)talker.Send({});
    }
}

[[noreturn]] void EchoSocket(int descriptor, std::size_t size)
{
    const SocketTalker talker(descriptor);
    std::vector<std::uint8_t> message(size);
    while (true)
    {
        talker.Receive(message);
        talker.Send(message);
    }
}

[[noreturn]] void DrainSocket(int descriptor, std::size_t size, int count)
{
    const SocketTalker talker(descriptor);
    std::vector<std::uint8_t> message(size);
    while (true)
    {
        for (int i = 0; i < count; ++i)
        {
            talker.Receive(message);
        }
        talker.Send({0});
    }
}

} // namespace

int main(int count, char** arguments)
{
    const std::string_view what = count > 1 ? arguments[1] : "";
    try
    {
        Bench::StayOn(std::atoi(arguments[count - 1]));
        if (what == "--echo-pipe" && count == 4)
        {
            EchoPipe(arguments[2], Wait::ForIt);
        }
        if (what == "--echo-pipe-by-event" && count == 4)
        {
            EchoPipe(arguments[2], Wait::ForItsEvent);
        }
        if (what == "--drain-pipe" && count == 5)
        {
            DrainPipe(arguments[2], std::stoi(arguments[3]));
        }
        if (what == "--echo-socket" && count == 5)
        {
            EchoSocket(std::stoi(arguments[2]), std::stoul(arguments[3]));
        }
        if (what == "--drain-socket" && count == 6)
        {
            DrainSocket(std::stoi(arguments[2]), std::stoul(arguments[3]), std::stoi(arguments[4]));
        }
    }
    catch (const std::exception&)
    {
        // The other side has gone.
        return EXIT_SUCCESS;
    }
    std::fputs("not understood\n", stderr);
    return EXIT_FAILURE;
}
