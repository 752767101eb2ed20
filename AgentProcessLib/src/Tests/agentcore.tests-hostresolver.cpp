#include "agentcore.tests-hostresolver.hpp"

#include <utility>

#include <fmt/format.h>

#include "shared.concurrency-criticalsection.hpp"
#include "shared.exception-errortext.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::Tests
{

namespace
{

namespace ErrorCode = Shared::Platform::ErrorCode;
using Shared::Util::ConvertStringType;

/// What came of a question. Read by who asks once the question has ended.
struct QueryRecord
{
    std::vector<std::wstring> results;
    std::int32_t error = 0;
};

/// Never destroyed, as threads may still resolve while the process ends.
Shared::Concurrency::CriticalSectionWrapper& GetResolutionLock()
{
    static auto& s_lock = *new Shared::Concurrency::CriticalSectionWrapper;
    return s_lock;
}

/// The end of a question, on whichever thread: touches only the record.
void QueryCompleteCallback(QueryRecord& record, std::int32_t error, std::vector<std::wstring> addresses) noexcept
{
    record.error = error;
    record.results = std::move(addresses);
    if (error != 0)
    {
        Shared::Log::Error("QueryCompleteCallback() failed: {}", error);
    }
}

std::int32_t Start(AddressQuery& query, const std::wstring& hostName, QueryRecord& record)
{
    if (!CanNameHost(hostName))
    {
        QueryCompleteCallback(record, ErrorCode::HostNotFound, {});
        return ErrorCode::HostNotFound;
    }
    return query.Start(
        hostName,
        [&record](std::int32_t error, std::vector<std::wstring> addresses)
        { QueryCompleteCallback(record, error, std::move(addresses)); });
}

} // namespace

HostResolver::HostResolver() : HostResolver([] { return CreateAddressQuery(); })
{
}

HostResolver::HostResolver(QueryMaker makeQuery) : m_makeQuery(std::move(makeQuery))
{
}

std::vector<std::wstring> HostResolver::Resolve(const std::wstring& hostName, std::uint32_t timeoutMs)
{
    const Shared::Concurrency::CriticalSection lock{GetResolutionLock().Get()};
    // Before the query, which refers to it.
    QueryRecord record;
    const auto query = m_makeQuery();
    const std::int32_t started = Start(*query, hostName, record);
    if (started != static_cast<std::int32_t>(ErrorCode::IoPending))
    {
        return record.results;
    }
    if (!query->Wait(timeoutMs))
    {
        query->Cancel();
        (void)query->Wait(Shared::Time::Infinite);
        throw Shared::Exception::RuntimeException(fmt::format(
            "Address reolution for host name \"{}\" took longer than {} ms to complete.", ConvertStringType(hostName),
            timeoutMs));
    }
    if (record.error != 0)
    {
        throw Shared::Exception::RuntimeException(fmt::format(
            "Failed to resolve address for host name \"{}\" with error: {} - {}", ConvertStringType(hostName),
            record.error, Shared::Exception::TranslateWin32Error(static_cast<std::uint32_t>(record.error))));
    }
    return record.results;
}

} // namespace AgentCore::Tests
