#include "agentcore.tests-hostlookup.hpp"

#include <array>
#include <cstddef>
#include <exception>
#include <utility>

#include "shared.concurrency-event.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-functions.hpp"

#include "shared.platform-windows.windows.hpp"

// In the import library, but not in the headers.
extern "C" WINSOCK_API_LINKAGE INT WSAAPI GetAddrInfoExCancel(LPHANDLE lpHandle);

namespace AgentCore::Tests
{

namespace
{

namespace ErrorCode = Shared::Platform::ErrorCode;
using Shared::System::AddressFamily;
using Shared::System::IpAddress;

using AddressList = std::unique_ptr<ADDRINFOW, decltype(&::FreeAddrInfoW)>;

AddressList AskSystem(const std::wstring& hostName)
{
    ADDRINFOW hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    ADDRINFOW* list = nullptr;
    const int result = ::GetAddrInfoW(hostName.c_str(), nullptr, &hints, &list);
    if (result != 0)
    {
        throw Shared::Exception::Win32Exception("GetAddrInfoW failed with error", static_cast<std::uint32_t>(result));
    }
    return {list, &::FreeAddrInfoW};
}

/// Empty when the system cannot tell it.
std::wstring Format(sockaddr* address, std::size_t size)
{
    std::array<wchar_t, 256> text{};
    auto length = static_cast<DWORD>(text.size());
    const int result = ::WSAAddressToStringW(address, static_cast<DWORD>(size), nullptr, text.data(), &length);
    return result == 0 ? std::wstring{text.data()} : std::wstring{};
}

/// The headers give the pointer a type of another spelling.
const ADDRINFOEXW* NextOf(const ADDRINFOEXW& entry) noexcept
{
    return reinterpret_cast<const ADDRINFOEXW*>(entry.ai_next);
}

class ResolverQuery final : public AddressQuery
{
public:
    ResolverQuery() = default;
    ResolverQuery(const ResolverQuery&) = delete;
    ResolverQuery& operator=(const ResolverQuery&) = delete;

    ~ResolverQuery() override
    {
        if (m_isOnItsWay)
        {
            // The system still writes into the members.
            Cancel();
            ::WaitForSingleObject(m_doneEvent.GetHandle(), INFINITE);
        }
        if (m_call.list != nullptr)
        {
            ::FreeAddrInfoExW(m_call.list);
        }
    }

    std::int32_t Start(const std::wstring& hostName, Completion completion) override
    {
        // The system reads these for as long as the question is on its way.
        m_hostName = hostName;
        m_completion = std::move(completion);
        m_call.owner = this;
        m_hints.ai_family = AF_INET;
        const int result = ::GetAddrInfoExW(
            m_hostName.c_str(), nullptr, NS_DNS, nullptr, &m_hints, &m_call.list, nullptr, &m_call.overlapped,
            reinterpret_cast<LPLOOKUPSERVICE_COMPLETION_ROUTINE>(&OnEnd), &m_cancelHandle);
        m_isOnItsWay = result == static_cast<int>(ErrorCode::IoPending);
        if (!m_isOnItsWay)
        {
            Complete(result);
        }
        return result;
    }

    bool Wait(std::uint32_t timeoutMs) override
    {
        m_isOnItsWay = m_isOnItsWay && !m_doneEvent.WaitOnEvent(timeoutMs);
        return !m_isOnItsWay;
    }

    void Cancel() noexcept override
    {
        // Refused for a question that has just ended; its end is waited for in any case.
        (void)::GetAddrInfoExCancel(&m_cancelHandle);
    }

private:
    /// What the system fills, and by which the routine finds the question.
    struct Call
    {
        OVERLAPPED overlapped;
        ADDRINFOEXW* list;
        ResolverQuery* owner;
    };

    static void CALLBACK OnEnd(DWORD error, DWORD /*bytes*/, OVERLAPPED* overlapped) noexcept
    {
        auto* const owner = CONTAINING_RECORD(overlapped, Call, overlapped)->owner;
        // Nothing of the question is touched once it is signalled: who waits for that destroys it.
        const HANDLE done = owner->m_doneEvent.GetHandle();
        owner->Complete(static_cast<std::int32_t>(error));
        ::SetEvent(done);
    }

    void Complete(std::int32_t error) noexcept
    {
        std::vector<std::wstring> addresses;
        try
        {
            for (const auto* entry = error == 0 ? m_call.list : nullptr; entry != nullptr; entry = NextOf(*entry))
            {
                if (auto text = Format(entry->ai_addr, entry->ai_addrlen); !text.empty())
                {
                    addresses.push_back(std::move(text));
                }
            }
        }
        catch (const std::exception&)
        {
            error = ERROR_NOT_ENOUGH_MEMORY;
        }
        m_completion(error, std::move(addresses));
    }

    std::wstring m_hostName;
    Completion m_completion;
    Shared::Concurrency::Event m_doneEvent{false, false};
    ADDRINFOEXW m_hints{};
    HANDLE m_cancelHandle = nullptr;
    /// Until its end has been waited for.
    bool m_isOnItsWay = false;
    Call m_call{};
};

} // namespace

std::vector<IpAddress> LookUpHost(const std::wstring& hostName)
{
    const auto list = AskSystem(hostName);
    std::vector<IpAddress> addresses;
    for (const ADDRINFOW* entry = list.get(); entry != nullptr; entry = entry->ai_next)
    {
        const auto text = entry->ai_family == AF_INET || entry->ai_family == AF_INET6
            ? Format(entry->ai_addr, entry->ai_addrlen)
            : std::wstring{};
        if (!text.empty())
        {
            const auto family = entry->ai_family == AF_INET ? AddressFamily::IpV4 : AddressFamily::IpV6;
            addresses.push_back({family, Shared::Util::ConvertStringType(text)});
        }
    }
    return addresses;
}

std::unique_ptr<AddressQuery> CreateAddressQuery()
{
    return std::make_unique<ResolverQuery>();
}

} // namespace AgentCore::Tests
