#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <thread>

namespace PingTest
{

/// What the process holds of the system, which must be the same before and after something that leaves nothing behind.
struct Holdings
{
    std::ptrdiff_t threads = 0;
    std::ptrdiff_t descriptors = 0;

    bool operator==(const Holdings&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Holdings& holdings)
{
    return stream << holdings.threads << " threads, " << holdings.descriptors << " descriptors";
}

inline Holdings CountHoldings()
{
    // From a process's first thread on a sanitizer may have one of its own.
    [[maybe_unused]] static const bool s_hadThread = (std::thread([] {}).join(), true);
    const auto count = [](const char* folder)
    {
        return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
    };
    return {count("/proc/self/task"), count("/proc/self/fd")};
}

} // namespace PingTest
