// A connector for tests of the worker that starts it: -s MODE -p PIPE -l LOGPIPE, scanned over all arguments, as the agent
// passes no name of the program. It ends with 0 when one of its pipes breaks. The server's address says how it behaves:
//
//   echo       sends back what it is sent, message for message
//   exit       ends at once with code 3
//   silent     opens neither pipe
//   half       opens the message pipe alone
//   late       opens its pipes after a second, then behaves as "echo"
//   garble     sends one message that is none, then behaves as "echo"
//   garble-long  the same with a message that takes several reads
//   empty      sends one message of no bytes, then behaves as "echo"
//   quit       ends with code 5 on the first message
//   killed     ends by a signal on the first message
//   deaf       reads nothing
//   lines      writes one log line of each level, and one without, then behaves as "echo"
//   flood      sends 1000 messages of its own, then behaves as "echo"
//   torrent    sends messages of its own without an end, and reads nothing
//   gone       closes the message pipe on the first message and stays

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "shared.ipc-asyncmessagebasednamedpipeclient.hpp"
#include "shared.ipc-util.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <wire_protocol_v4.pb.h>

namespace
{

using Shared::Ipc::AsyncMessageBasedNamedPipeClient;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t BufferSize = 5120;
constexpr std::uint32_t OpenTimeoutMs = 5000;
constexpr std::uint32_t FloodSize = 1000;

std::string Find(int argc, char** argv, std::string_view option)
{
    for (int i = 0; i + 1 < argc; ++i)
    {
        if (argv[i] == option)
        {
            return argv[i + 1];
        }
    }
    return {};
}

AsyncMessageBasedNamedPipeClient Open(const std::string& name)
{
    return {Shared::Util::ConvertStringType(std::string_view(name)), BufferSize, OpenTimeoutMs};
}

template <typename Data>
void Write(AsyncMessageBasedNamedPipeClient& pipe, Data data)
{
    (void)pipe.Write(std::move(data)).WaitForCompletion(Shared::Time::Infinite);
}

Bytes Read(AsyncMessageBasedNamedPipeClient& pipe)
{
    Shared::Concurrency::OverlappedIo read = pipe.Read();
    (void)read.WaitForCompletion(Shared::Time::Infinite);
    return Shared::Ipc::CompleteRead(pipe, read);
}

Bytes MessageOf(std::uint32_t number)
{
    VelRouter::V4_Message message;
    message.set_msg_id(19);
    message.set_seq_num(number);
    message.set_payload("{}");
    Bytes bytes(message.ByteSizeLong());
    message.SerializeToArray(bytes.data(), static_cast<int>(bytes.size()));
    return bytes;
}

[[noreturn]] void StayForever()
{
    for (;;)
    {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

void Prepare(const std::string& mode, AsyncMessageBasedNamedPipeClient& pipe, AsyncMessageBasedNamedPipeClient& log)
{
    if (mode == "garble")
    {
        Write(pipe, Bytes(20, 0xFF));
    }
    if (mode == "garble-long")
    {
        Write(pipe, Bytes(3 * BufferSize, 0xFF));
    }
    if (mode == "empty")
    {
        Write(pipe, Bytes());
    }
    if (mode == "lines")
    {
        for (const char* line :
             {"[info] one", "[warning] two", "[error] three", "[debug] four", "five", "six [error] and [info]"})
        {
            Write(log, std::string(line));
        }
    }
    const bool isTorrent = mode == "torrent";
    for (std::uint32_t i = 0; isTorrent || (mode == "flood" && i < FloodSize); ++i)
    {
        Write(pipe, MessageOf(i));
    }
    if (mode == "deaf")
    {
        StayForever();
    }
}

int Run(const std::string& mode, const std::string& pipeName, const std::string& logName)
{
    if (mode == "exit")
    {
        return 3;
    }
    if (mode == "silent")
    {
        StayForever();
    }
    if (mode == "late")
    {
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    AsyncMessageBasedNamedPipeClient pipe = Open(pipeName);
    if (mode == "half")
    {
        StayForever();
    }
    AsyncMessageBasedNamedPipeClient log = Open(logName);
    Prepare(mode, pipe, log);
    for (;;)
    {
        Bytes message = Read(pipe);
        if (mode == "quit")
        {
            // At once: the worker gives an end one second, and a sanitizer's tidying up takes as long.
            std::_Exit(5);
        }
        if (mode == "killed")
        {
            (void)std::raise(SIGTERM);
        }
        if (mode == "gone")
        {
            pipe.Close();
            StayForever();
        }
        Write(pipe, std::move(message));
    }
}

} // namespace

int main(int argc, char** argv)
{
    try
    {
        return Run(Find(argc, argv, "-s"), Find(argc, argv, "-p"), Find(argc, argv, "-l"));
    }
    catch (const std::exception&)
    {
        return 0;
    }
}
