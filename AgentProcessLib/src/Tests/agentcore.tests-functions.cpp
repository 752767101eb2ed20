#include "agentcore.tests-functions.hpp"

#include <exception>
#include <memory>
#include <source_location>
#include <span>
#include <string_view>

#include "agentcore.tests-hostlookup.hpp"
#include "shared.appsettings-functions.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::Tests
{

namespace
{

using Shared::Util::ConvertStringType;

/// What an echo carries, without a terminator.
constexpr std::string_view PayloadText = "ICMP SEND DATA";

std::span<const std::uint8_t> GetPayload() noexcept
{
    return {reinterpret_cast<const std::uint8_t*>(PayloadText.data()), PayloadText.size()};
}

/// False, and the log says why, for a text that is no address.
bool ReadAddress(const std::wstring& text, const IcmpService& service, Icmp::IpV4Address& address)
{
    std::uint32_t error = 0;
    // The system would read no further than a null character.
    const bool isWhole = text.find(L'\0') == std::wstring::npos;
    switch (isWhole ? service.ParseAddress(text, address, error) : AddressReading::Invalid)
    {
    case AddressReading::Valid:
        return true;
    case AddressReading::Invalid:
        Shared::Log::Warn("Not a valid IPv4 string: {0}", ConvertStringType(text));
        return false;
    case AddressReading::Failed:
        Shared::Log::Warn("InetPton against {} failed with error: {}", ConvertStringType(text), error);
        return false;
    }
    return false;
}

/// Closes the handle at the end of the scope and tells the log of a failure.
class HandleCloser
{
public:
    HandleCloser(IcmpHandle& handle, const std::source_location& where) noexcept : e_handle(handle), m_where(where)
    {
    }

    HandleCloser(const HandleCloser&) = delete;
    HandleCloser& operator=(const HandleCloser&) = delete;

    ~HandleCloser()
    {
        try
        {
            e_handle.Close();
        }
        catch (const std::exception& exception)
        {
            Shared::Log::LogException("Failed to close ICMP handle", exception, m_where);
        }
    }

private:
    IcmpHandle& e_handle;
    std::source_location m_where;
};

PingResult ToResult(const EchoAnswer& answer, const IcmpService& service, const std::wstring& address)
{
    PingResult result{answer.roundTripMs, answer.dataSize, answer.status, true, service.FormatAddress(answer.address)};
    if (result.replyAddress.empty())
    {
        Shared::Log::Warn("Couldn't resolve the replying address when pinging {}", ConvertStringType(address));
    }
    return result;
}

} // namespace

HostAddresses HostNameToAddresses(const std::wstring& hostName)
{
    if (!CanNameHost(hostName))
    {
        throw Shared::Exception::Win32Exception(
            "GetAddrInfoW failed with error", Shared::Platform::ErrorCode::HostNotFound);
    }
    HostAddresses addresses;
    for (const auto& [family, text] : LookUpHost(hostName))
    {
        auto& address = family == Shared::System::AddressFamily::IpV4 ? addresses.ipv4 : addresses.ipv6;
        address = ConvertStringType(text);
    }
    return addresses;
}

std::size_t GetReplyBufferSize(std::size_t payloadSize, const PingOptions* options) noexcept
{
    // The answer's record and the start of an error message; then the options' bytes and their record.
    constexpr std::size_t answerSize = 48;
    constexpr std::size_t optionsSize = 16;
    return payloadSize + answerSize + (options == nullptr ? 0 : options->headerOptions.size() + optionsSize);
}

PingResult DoIpV4Ping(const std::wstring& address, const PingOptions* options)
{
    return DoIpV4Ping(address, options, GetIcmpService());
}

PingResult DoIpV4Ping(const std::wstring& address, const PingOptions* options, const IcmpService& service)
{
    Icmp::IpV4Address target{};
    if (!ReadAddress(address, service, target))
    {
        return {};
    }
    std::unique_ptr<IcmpHandle> handle;
    try
    {
        handle = service.Open();
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        Shared::Log::LogException("Couldn't open an ICMP handle", exception);
        return {};
    }
    const HandleCloser closer{*handle, std::source_location::current()};
    const auto answer = handle->SendEcho(
        target, GetPayload(), options, GetReplyBufferSize(PayloadText.size(), options),
        Shared::AppSettings::GetPingTimeoutMs());
    return answer ? ToResult(*answer, service, address) : PingResult{};
}

} // namespace AgentCore::Tests
