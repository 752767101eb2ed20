#include "shared.ipc-asyncmessagebasednamedpipe.hpp"

#include "bench.pipepeer.linux.hpp"
#include "bench.processors.linux.hpp"
#include "bench.ratio.hpp"
#include "lab.vellab-childprocess.hpp"
#include "shared.ipc-asyncmessagebasednamedpipeserver.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <fcntl.h>

using Bench::PipeTalker;
using Bench::SocketTalker;
using Bench::Wait;

namespace
{

constexpr std::uint32_t BufferSize = 5120;

Lab::ChildRequest RequestPeer(const std::vector<std::string>& arguments)
{
    const std::filesystem::path folder = Shared::Util::GetCurrentExecutableDirectory();
    return {
        .program = folder / "shared-ipc-bench-peer",
        .arguments = arguments,
        .workingFolder = folder,
        .output = "/dev/null",
        .errors = "/dev/null"};
}

/// A server whose client is the other process.
class PipeLink
{
public:
    PipeLink(std::string mode, std::vector<std::string> rest, Wait wait)
        : m_name(Shared::Util::GenerateGuid()), m_server(m_name, BufferSize, false, L"")
    {
        auto connect = m_server.Connect();
        std::vector<std::string> arguments = {std::move(mode), Shared::Util::ConvertStringType(m_name)};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        m_peer.emplace(RequestPeer(arguments));
        (void)connect.WaitForCompletion(Shared::Time::Infinite);
        m_talker.emplace(m_server, wait);
    }

    PipeTalker& Talker()
    {
        return *m_talker;
    }

private:
    std::wstring m_name;
    Shared::Ipc::AsyncMessageBasedNamedPipeServer m_server;
    std::optional<Lab::ChildProcess> m_peer;
    std::optional<PipeTalker> m_talker;
};

/// Connected sockets whose other end the other process has.
class SocketLink
{
public:
    SocketLink(std::string mode, std::vector<std::string> rest)
    {
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0)
        {
            std::abort();
        }
        m_own = ends[0];
        // As much room as the pipe's sockets ask for, so that both sides are switched between equally often.
        const int room = 4 * 128 * 1024;
        for (const int end : ends)
        {
            (void)::setsockopt(end, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
        }
        (void)::fcntl(m_own, F_SETFD, FD_CLOEXEC);
        std::vector<std::string> arguments = {std::move(mode), std::to_string(ends[1])};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        m_peer.emplace(RequestPeer(arguments));
        ::close(ends[1]);
    }

    SocketLink(const SocketLink&) = delete;
    SocketLink& operator=(const SocketLink&) = delete;

    ~SocketLink()
    {
        ::close(m_own);
    }

    SocketTalker Talker() const
    {
        return SocketTalker(m_own);
    }

private:
    int m_own = -1;
    std::optional<Lab::ChildProcess> m_peer;
};

// The floor of both: the same bytes between two processes on the same processors, over a stream socketpair with as much
// buffer, by blocking calls and from and to memory that is there before. The pipe's time holds all that its users pay: the
// operations and their events, the read of 5120 bytes, CompleteRead() for the rest, and the memory for that.

void Converse(benchmark::State& state, const char* mode, Wait wait)
{
    const Bench::Processors processors;
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::string partners = std::to_string(state.range(1) != 0 ? processors.Last() : processors.First());
    Bench::StayOn(processors.First());
    PipeLink pipe(mode, {partners}, wait);
    const SocketLink socket("--echo-socket", {std::to_string(size), partners});
    const std::vector<std::uint8_t> message(size, 0x55);
    std::vector<std::uint8_t> ofPipe = message;
    std::vector<std::uint8_t> answer(size);
    const auto ours = [&]
    {
        ofPipe = pipe.Talker().Send(std::move(ofPipe));
        pipe.Talker().Receive([](auto& received) { benchmark::DoNotOptimize(received.data()); });
    };
    const auto floor = [&]
    {
        socket.Talker().Send(message);
        socket.Talker().Receive(answer);
        benchmark::DoNotOptimize(answer.data());
    };
    constexpr std::size_t Large = 65536;
    Bench::Compare(state, size < Large ? 50 : 4, ours, floor);
}

// One message to the other process and back. Goal: at most 2.5 times the floor.
void RoundTrip(benchmark::State& state)
{
    Converse(state, "--echo-pipe", Wait::ForIt);
}

BENCHMARK(RoundTrip)
    ->UseManualTime()
    ->ArgNames({"bytes", "betweenTwoProcessors"})
    ->ArgsProduct({{1024, 65536, 1048576}, {0, 1}});

// The same as the agent's workers wait, for several things at once: one more thread is woken for each message, which the
// floor has not. No goal: what a worker does with a message takes many times as long.
void RoundTripByEvent(benchmark::State& state)
{
    Converse(state, "--echo-pipe-by-event", Wait::ForItsEvent);
}

BENCHMARK(RoundTripByEvent)
    ->UseManualTime()
    ->ArgNames({"bytes", "betweenTwoProcessors"})
    ->ArgsProduct({{1024, 1048576}, {0, 1}});

// Messages of 1 MB in one direction, 16 of them until the other side answers. Goal: at most 2 times the floor.
void Throughput(benchmark::State& state)
{
    constexpr std::size_t Size = 1048576;
    constexpr int Count = 16;
    const Bench::Processors processors;
    const std::string partners = std::to_string(state.range(0) != 0 ? processors.Last() : processors.First());
    Bench::StayOn(processors.First());
    PipeLink pipe("--drain-pipe", {std::to_string(Count), partners}, Wait::ForIt);
    const SocketLink socket("--drain-socket", {std::to_string(Size), std::to_string(Count), partners});
    const std::vector<std::uint8_t> message(Size, 0x55);
    std::vector<std::uint8_t> ofPipe = message;
    std::vector<std::uint8_t> answer(1);
    const auto ours = [&]
    {
        for (int i = 0; i < Count; ++i)
        {
            ofPipe = pipe.Talker().Send(std::move(ofPipe));
        }
        pipe.Talker().Receive([](auto& received) { benchmark::DoNotOptimize(received.data()); });
    };
    const auto floor = [&]
    {
        for (int i = 0; i < Count; ++i)
        {
            socket.Talker().Send(message);
        }
        socket.Talker().Receive(answer);
    };
    Bench::Compare(state, 1, ours, floor);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * Count * static_cast<std::int64_t>(Size));
}

BENCHMARK(Throughput)->UseManualTime()->ArgName("betweenTwoProcessors")->Arg(0)->Arg(1);

} // namespace
