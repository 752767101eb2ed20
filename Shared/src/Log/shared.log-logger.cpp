#include "shared.log-logger.hpp"

#include <atomic>
#include <mutex>
#include <utility>

#include <spdlog/spdlog.h>

namespace Shared::Log::Detail
{

namespace
{

struct Holder
{
    std::mutex lock;
    std::shared_ptr<spdlog::logger> logger = spdlog::default_logger(); // guarded by lock
};

Holder& TheHolder()
{
    static Holder* const holder = new Holder;
    return *holder;
}

/// Apart from the holder: most lines are looked at for their level only, and must not meet on its lock.
std::atomic<Level> s_level{Level::Info};

} // namespace

std::shared_ptr<spdlog::logger> GetDefaultLogger()
{
    Holder& holder = TheHolder();
    const std::scoped_lock hold(holder.lock);
    return holder.logger;
}

void SetDefaultLogger(std::shared_ptr<spdlog::logger> logger)
{
    Holder& holder = TheHolder();
    {
        const std::scoped_lock hold(holder.lock);
        s_level.store(static_cast<Level>(logger->level()), std::memory_order_relaxed);
        std::swap(holder.logger, logger);
    }
    // The former logger closes its file here, if this was its last holder, and not under the lock.
}

Level GetDefaultLevel() noexcept
{
    return s_level.load(std::memory_order_relaxed);
}

} // namespace Shared::Log::Detail
