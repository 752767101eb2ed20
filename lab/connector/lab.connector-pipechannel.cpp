#include "lab.connector-channel.hpp"

#include "shared.ipc-asyncmessagebasednamedpipeclient.hpp"
#include "shared.ipc-util.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace Lab
{

namespace
{

using Shared::Concurrency::OverlappedIo;
using Shared::Ipc::AsyncMessageBasedNamedPipeClient;

class PipeChannel final : public MessageChannel
{
public:
    explicit PipeChannel(AsyncMessageBasedNamedPipeClient pipe) : m_pipe(std::move(pipe)), m_read(m_pipe.Read())
    {
    }

    Shared::Raii::RawHandle GetReceivedHandle() const override
    {
        return m_read.GetWaitableHandle();
    }

    std::optional<std::string> TakeReceived() override
    {
        if (!m_failure.empty())
        {
            throw ChannelError(m_failure);
        }
        if (!m_read.IsComplete())
        {
            return std::nullopt;
        }
        try
        {
            std::string message = Collect();
            StartRead();
            return message;
        }
        catch (const std::exception& problem)
        {
            throw ChannelError(fmt::format("the pipe could not be read: {}", problem.what()));
        }
    }

    void StartSend(const std::string& message) override
    {
        Guarded([&] { m_write = m_pipe.Write(message); });
    }

    Shared::Raii::RawHandle GetSentHandle() const override
    {
        return m_write.GetWaitableHandle();
    }

    void FinishSend() override
    {
        if (!m_write.IsSuccessful())
        {
            throw ChannelError(fmt::format("the pipe could not be written: status {:#x}", m_write.GetRawStatus()));
        }
    }

private:
    /// An empty message leaves the buffer as it was asked for.
    std::string Collect()
    {
        if (m_read.IsSuccessful() && m_read.GetBytesTransferred() == 0)
        {
            return {};
        }
        const std::vector<std::uint8_t> bytes = Shared::Ipc::CompleteRead(m_pipe, m_read);
        return {bytes.begin(), bytes.end()};
    }

    /// A message that has arrived counts, even when its sender is gone by now: the failure is told at the next call. The
    /// finished operation stays until then, and with it its event.
    void StartRead()
    {
        try
        {
            m_read = m_pipe.Read();
        }
        catch (const std::exception& problem)
        {
            m_failure = fmt::format("the pipe could not be read: {}", problem.what());
        }
    }

    template <typename Action>
    static void Guarded(Action&& action)
    {
        try
        {
            action();
        }
        catch (const std::exception& problem)
        {
            throw ChannelError(fmt::format("the pipe could not be written: {}", problem.what()));
        }
    }

    AsyncMessageBasedNamedPipeClient m_pipe;
    OverlappedIo m_read;
    OverlappedIo m_write;
    std::string m_failure;
};

} // namespace

std::unique_ptr<MessageChannel> OpenPipeChannel(const std::string& name, std::chrono::milliseconds timeout)
{
    constexpr std::uint32_t BufferSize = 64U << 10U;
    constexpr std::chrono::milliseconds Pause(20);
    const auto end = Shared::Time::MonotonicNow() + timeout;
    while (true)
    {
        try
        {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Shared::Time::MonotonicNow());
            return std::make_unique<PipeChannel>(AsyncMessageBasedNamedPipeClient(
                Shared::Util::ConvertStringType(std::string_view(name)), BufferSize,
                static_cast<std::uint32_t>(std::max<long long>(left.count(), 0))));
        }
        catch (const std::exception& problem)
        {
            if (Shared::Time::MonotonicNow() >= end)
            {
                throw ChannelError(fmt::format("the pipe {} could not be opened: {}", name, problem.what()));
            }
        }
        Shared::Time::SleepFor(Pause);
    }
}

} // namespace Lab
