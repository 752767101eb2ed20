#pragma once

#include "lab.wire-envelope.hpp"
#include "shared.concurrency-criticalsection.hpp"
#include "shared.time-clock.hpp"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace Lab::Cloud
{

enum class Direction
{
    FromAgent,
    ToAgent
};

/// How many messages of one kind went which way.
using MessageCounts = std::map<std::pair<Direction, std::uint32_t>, std::size_t>;

/// Keeps every message as a JSON file of its own: "0007-from-agent-24000-registration-request.json". A payload that is JSON
/// stands in it as such; another one as text where it is text, else in hexadecimal; of one that is larger than
/// LargestPayload only the beginning is kept. Any thread.
class Journal
{
public:
    static constexpr std::size_t LargestPayload = 1U << 20U;
    static constexpr std::size_t BeginningOfLarger = 1024;

    /// @param folder made when it is missing.
    explicit Journal(std::filesystem::path folder);

    /// The number of the file. A file that cannot be written is not reported; the number is used up.
    std::uint64_t Keep(Direction direction, std::string_view server, const Wire::Envelope& envelope);

    /// Counts a message without keeping it.
    void Count(Direction direction, std::uint32_t msgId);

    MessageCounts GetCounts() const;

private:
    std::filesystem::path m_folder;
    Shared::Time::MonotonicTime m_start;
    mutable Shared::Concurrency::SystemCriticalSection m_lock;
    std::uint64_t m_number VEL_GUARDED_BY(m_lock) = 0;
    MessageCounts m_counts VEL_GUARDED_BY(m_lock);
};

/// The text of one file.
std::string DescribeMessage(
    std::uint64_t number,
    std::string_view time,
    double seconds,
    Direction direction,
    std::string_view server,
    const Wire::Envelope& envelope);

} // namespace Lab::Cloud
