#include "contract.pipeplatform.hpp"

#include <cerrno>
#include <filesystem>
#include <iterator>

namespace Contract
{

namespace
{

std::size_t CountEntries(const char* folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

} // namespace

std::uint32_t AccessDeniedCode() noexcept
{
    return EACCES;
}

std::uint32_t NoSuchPipeCode() noexcept
{
    return ENOENT;
}

Holdings CountHoldings()
{
    return {CountEntries("/proc/self/fd"), CountEntries("/proc/self/task")};
}

} // namespace Contract
