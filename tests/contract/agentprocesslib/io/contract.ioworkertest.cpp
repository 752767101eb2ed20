#include "contract.ioworkertest.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.log-logger.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <chrono>
#include <thread>
#include <utility>

#include <spdlog/logger.h>

namespace Contract
{

using Shared::AppSettings::Paths::Config;
using Shared::Log::Level;
using TestSupport::LimitMs;
namespace WinReg = Shared::WinReg;

IOWorkerTest::IOWorkerTest()
{
    WinReg::CreateKey(WinReg::Root::LocalMachine, Config);
    SetDelays(1, 1);
}

IOWorkerTest::~IOWorkerTest()
{
    Stop();
    Shared::Time::ClockControl::Reset();
}

void IOWorkerTest::LiveFaster()
{
    Shared::Time::ClockControl::SetSpeed(10);
}

void IOWorkerTest::SetDelays(std::uint32_t first, std::uint32_t longest)
{
    WinReg::SetDwordValue(WinReg::Root::LocalMachine, Config, L"MinimumRetryDelaySeconds", first);
    WinReg::SetDwordValue(WinReg::Root::LocalMachine, Config, L"MaximumRetryDelaySeconds", longest);
}

void IOWorkerTest::KeepTroubleAlone()
{
    Shared::Log::Detail::GetDefaultLogger()->set_level(spdlog::level::warn);
}

std::string IOWorkerTest::Trouble() const
{
    std::string text;
    for (const TestSupport::CapturedLog::Line& line : m_log.Lines())
    {
        if (line.level == Level::Warning || line.level == Level::Error)
        {
            text += "\n" + line.text;
        }
    }
    return text;
}

void IOWorkerTest::Prepare(const std::wstring& mode)
{
    m_worker = std::make_unique<Worker>(true, mode, &m_out, &m_in);
}

void IOWorkerTest::Start(const std::wstring& mode)
{
    Prepare(mode);
    m_worker->Start();
}

void IOWorkerTest::Stop()
{
    if (m_worker)
    {
        m_worker->GetConnectorStopEvent().Signal();
        EXPECT_TRUE(m_worker->Join(LimitMs));
        EXPECT_EQ(m_worker->GetExitCode(), 0U);
        m_worker.reset();
    }
}

bool IOWorkerTest::Await(const std::function<bool()>& holds)
{
    const TestSupport::Stopwatch watch;
    while (!holds())
    {
        if (watch.ElapsedMs() > LimitMs)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

bool IOWorkerTest::AwaitLine(Level level, const std::string& text, std::size_t times)
{
    return Await([&] { return m_log.Count(level, text) >= times; });
}

bool IOWorkerTest::AwaitConnection(std::size_t times)
{
    return AwaitLine(Level::Info, "IOWorker successfully connected", times);
}

bool IOWorkerTest::AwaitMessages(std::size_t count)
{
    return Await([&] { return m_in.Size() >= count; });
}

void IOWorkerTest::Send(
    std::uint32_t msgId, std::uint32_t seqNum, std::uint32_t flags, const std::string& payload, std::uint32_t status)
{
    VelRouter::V4_Message message;
    message.set_msg_id(msgId);
    message.set_seq_num(seqNum);
    message.set_flags(flags);
    message.set_payload(payload);
    message.set_status(status);
    WireProtocol::Comms::OutboundMessage outbound;
    outbound.Data.resize(message.ByteSizeLong());
    message.SerializeToArray(outbound.Data.data(), static_cast<int>(outbound.Data.size()));
    m_out.Push(std::move(outbound));
}

} // namespace Contract
