#include "shared.log-eventsink.hpp"

#include <array>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <spdlog/logger.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

/// Runs `body` on a thread that sees an empty /run of its own, so that the test decides whether there is a journal. The
/// machine's own does not notice. Returns why it could not be done.
std::optional<std::string> WithOwnRunDirectory(const std::function<void()>& body)
{
    std::optional<std::string> failure;
    std::thread thread(
        [&]
        {
            if (::unshare(CLONE_NEWNS) != 0)
            {
                failure = "unshare() is not permitted here";
            }
            else if (
                ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                ::mount("tmpfs", "/run", "tmpfs", 0, "size=1m") != 0)
            {
                failure = "mount() is not permitted here";
            }
            else
            {
                body();
            }
        });
    thread.join();
    return failure;
}

/// Takes the place of the journal's daemon: a datagram is an entry.
class Journal
{
public:
    Journal()
    {
        ::mkdir("/run/systemd", 0755);
        ::mkdir("/run/systemd/journal", 0755);
        m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/run/systemd/journal/socket");
        m_isBound = ::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }

    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    ~Journal()
    {
        ::close(m_socket);
    }

    bool IsBound() const noexcept
    {
        return m_isBound;
    }

    /// The next entry, empty when there is none.
    std::string Take()
    {
        std::array<char, 4096> buffer{};
        const auto size = ::recv(m_socket, buffer.data(), buffer.size(), 0);
        return size <= 0 ? std::string() : std::string(buffer.data(), static_cast<std::size_t>(size));
    }

private:
    int m_socket = -1;
    bool m_isBound = false;
};

class Logger
{
public:
    Logger() : m_logger("default", Shared::Log::MakeEventSink())
    {
        m_logger.set_level(spdlog::level::trace);
        m_logger.set_error_handler([this](const std::string& text) { m_failures.push_back(text); });
    }

    spdlog::logger* operator->() noexcept
    {
        return &m_logger;
    }

    const std::vector<std::string>& Failures() const noexcept
    {
        return m_failures;
    }

private:
    spdlog::logger m_logger;
    std::vector<std::string> m_failures;
};

#define SKIP_IF(failure)                                                                                               \
    if (failure)                                                                                                       \
    {                                                                                                                  \
        GTEST_SKIP() << *(failure);                                                                                    \
    }

TEST(JournalSinkTest, AnEntryHoldsTheLineThePriorityAndTheAgentsName)
{
    const auto failure = WithOwnRunDirectory(
        []
        {
            Journal journal;
            ASSERT_TRUE(journal.IsBound());
            Logger logger;

            logger->warn("the line");

            const std::string entry = journal.Take();
            EXPECT_NE(entry.find("[default] [warning] the line\n"), std::string::npos) << entry;
            EXPECT_NE(entry.find("MESSAGE=["), std::string::npos) << entry;
            EXPECT_NE(entry.find("PRIORITY=4\n"), std::string::npos) << entry;
            EXPECT_NE(entry.find("SYSLOG_IDENTIFIER=Tarvane VEL\n"), std::string::npos) << entry;
            EXPECT_EQ(entry.find("CODE_FILE"), std::string::npos) << entry;
            EXPECT_TRUE(logger.Failures().empty());
        });
    SKIP_IF(failure)
}

TEST(JournalSinkTest, EveryLevelHasItsPriority)
{
    const auto failure = WithOwnRunDirectory(
        []
        {
            Journal journal;
            ASSERT_TRUE(journal.IsBound());
            Logger logger;
            const std::array<char, 6> priorities = {'7', '7', '6', '4', '3', '2'};

            for (int level = 0; level < 6; ++level)
            {
                logger->log(static_cast<spdlog::level::level_enum>(level), "x");
                const std::string expected = std::string("PRIORITY=") + priorities.at(static_cast<std::size_t>(level));
                EXPECT_NE(journal.Take().find(expected + "\n"), std::string::npos) << level;
            }
        });
    SKIP_IF(failure)
}

TEST(JournalSinkTest, ALineOfSeveralLinesIsOneEntry)
{
    const auto failure = WithOwnRunDirectory(
        []
        {
            Journal journal;
            ASSERT_TRUE(journal.IsBound());
            Logger logger;

            logger->error("first\nsecond");

            const std::string entry = journal.Take();
            EXPECT_NE(entry.find("first\nsecond"), std::string::npos) << entry;
            EXPECT_EQ(journal.Take(), "");
        });
    SKIP_IF(failure)
}

TEST(JournalSinkTest, WithoutAJournalEachLineIsReportedAndTheNextIsTriedAgain)
{
    const auto failure = WithOwnRunDirectory(
        []
        {
            Logger logger;
            logger->info("nobody hears this");
            EXPECT_EQ(logger.Failures(), std::vector<std::string>{"Failed writing to the journal: there is none"});

            Journal journal;
            ASSERT_TRUE(journal.IsBound());
            logger->info("but this");

            EXPECT_NE(journal.Take().find("but this"), std::string::npos);
            EXPECT_EQ(logger.Failures().size(), 1U);
        });
    SKIP_IF(failure)
}

TEST(JournalSinkTest, AJournalThatDoesNotListenIsReportedWithTheSystemsText)
{
    const auto failure = WithOwnRunDirectory(
        []
        {
            {
                const Journal ended;
                ASSERT_TRUE(ended.IsBound());
            }
            Logger logger;

            logger->info("nobody hears this");

            EXPECT_EQ(logger.Failures(), std::vector<std::string>{"Failed writing to the journal: Connection refused"});
        });
    SKIP_IF(failure)
}

} // namespace
