#include "shared.log-eventsink.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <spdlog/logger.h>

#include "test.support-wine.hpp"

#include "shared.platform-windows.windows.hpp"

namespace
{

struct Entry
{
    DWORD eventId = 0;
    WORD type = 0;
    std::wstring source;
    std::wstring text;
};

/// The newest entries of the log of applications, newest first.
std::vector<Entry> NewestEntries()
{
    const std::unique_ptr<void, decltype(&::CloseEventLog)> log(
        ::OpenEventLogW(nullptr, L"Application"), &::CloseEventLog);
    std::vector<Entry> entries;
    std::vector<std::byte> buffer(0x10000);
    DWORD read = 0;
    DWORD needed = 0;
    if (::ReadEventLogW(
            log.get(), EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ, 0, buffer.data(),
            static_cast<DWORD>(buffer.size()), &read, &needed) == FALSE)
    {
        return entries;
    }
    for (std::size_t at = 0; at < read;)
    {
        const auto* const record = reinterpret_cast<const EVENTLOGRECORD*>(&buffer.at(at));
        const auto* const texts = reinterpret_cast<const wchar_t*>(&buffer.at(at + record->StringOffset));
        entries.push_back(
            {record->EventID, record->EventType, reinterpret_cast<const wchar_t*>(record + 1),
             record->NumStrings == 0 ? L"" : texts});
        at += record->Length;
    }
    return entries;
}

TEST(EventLogSinkTest, AnEntryHoldsTheLineTheTypeTheSourceAndEventId0)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine's event log takes entries and drops them";
    }
    const std::string mark = "mark " + std::to_string(std::random_device{}());
    const std::wstring wideMark(mark.begin(), mark.end());
    spdlog::logger logger("default", Shared::Log::MakeEventSink());
    std::string failure;
    logger.set_error_handler([&](const std::string& text) { failure = text; });

    logger.warn(mark);

    EXPECT_EQ(failure, "");
    std::size_t found = 0;
    for (const Entry& entry : NewestEntries())
    {
        if (entry.text.find(wideMark) != std::wstring::npos)
        {
            ++found;
            EXPECT_EQ(entry.source, L"Tarvane VEL");
            EXPECT_EQ(entry.eventId & 0xFFFFU, 0U);
            EXPECT_EQ(entry.type, EVENTLOG_WARNING_TYPE);
        }
    }
    EXPECT_EQ(found, 1U);
}

TEST(EventLogSinkTest, TheSystemTakesALineWithoutAFailure)
{
    spdlog::logger logger("default", Shared::Log::MakeEventSink());
    std::string failure;
    logger.set_error_handler([&](const std::string& text) { failure = text; });

    logger.info("a line");

    EXPECT_EQ(failure, "");
}

} // namespace
