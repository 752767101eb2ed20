#include "agentcore.tests-icmpecho.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"

#include "shared.platform-windows.windows.hpp"

#include <iphlpapi.h>

// Needs the types of the one before.
#include <icmpapi.h>

namespace AgentCore::Tests
{

namespace
{

/// Header options as the system wants them, over the bytes of `options`, which live as long.
IP_OPTION_INFORMATION ToNative(const PingOptions& options)
{
    IP_OPTION_INFORMATION native{};
    native.Ttl = options.timeToLive;
    native.Tos = options.typeOfService;
    native.Flags = options.doNotFragment ? IP_FLAG_DF : 0;
    native.OptionsSize = static_cast<UCHAR>(options.headerOptions.size());
    native.OptionsData = const_cast<UCHAR*>(options.headerOptions.data()); // only read
    return native;
}

EchoAnswer ReadAnswer(const ICMP_ECHO_REPLY& reply)
{
    return {std::bit_cast<Icmp::IpV4Address>(reply.Address), reply.Status, reply.RoundTripTime, reply.DataSize};
}

class NativeIcmpHandle final : public IcmpHandle
{
public:
    explicit NativeIcmpHandle(HANDLE handle) noexcept : m_handle(handle)
    {
    }

    NativeIcmpHandle(const NativeIcmpHandle&) = delete;
    NativeIcmpHandle& operator=(const NativeIcmpHandle&) = delete;

    ~NativeIcmpHandle() override
    {
        if (m_handle != INVALID_HANDLE_VALUE)
        {
            ::IcmpCloseHandle(m_handle);
        }
    }

    std::optional<EchoAnswer> SendEcho(
        const Icmp::IpV4Address& address,
        std::span<const std::uint8_t> payload,
        const PingOptions* options,
        std::size_t replyBufferSize,
        std::uint32_t timeoutMs) override
    {
        constexpr std::size_t mostOptions = 40;
        if (payload.size() > std::numeric_limits<WORD>::max() ||
            (options != nullptr && options->headerOptions.size() > mostOptions))
        {
            return std::nullopt;
        }
        auto nativeOptions = options == nullptr ? IP_OPTION_INFORMATION{} : ToNative(*options);
        std::vector<std::uint8_t> buffer(std::max(replyBufferSize, sizeof(ICMP_ECHO_REPLY)));
        const DWORD count = ::IcmpSendEcho(
            m_handle, std::bit_cast<IPAddr>(address), const_cast<std::uint8_t*>(payload.data()),
            static_cast<WORD>(payload.size()), options == nullptr ? nullptr : &nativeOptions, buffer.data(),
            static_cast<DWORD>(buffer.size()), Shared::Time::ToRealTimeoutMs(timeoutMs));
        if (count == 0)
        {
            return std::nullopt;
        }
        return ReadAnswer(*reinterpret_cast<const ICMP_ECHO_REPLY*>(buffer.data()));
    }

    void Close() override
    {
        const HANDLE handle = std::exchange(m_handle, INVALID_HANDLE_VALUE);
        if (handle != INVALID_HANDLE_VALUE && ::IcmpCloseHandle(handle) == FALSE)
        {
            throw Shared::Exception::Win32Exception("IcmpCloseHandle() failed", Shared::Platform::LastError());
        }
    }

private:
    HANDLE m_handle;
};

class NativeIcmpService final : public IcmpService
{
public:
    AddressReading ParseAddress(
        const std::wstring& text, Icmp::IpV4Address& address, std::uint32_t& error) const override
    {
        IN_ADDR native{};
        const int result = ::InetPtonW(AF_INET, text.c_str(), &native);
        if (result < 0)
        {
            error = static_cast<std::uint32_t>(::WSAGetLastError());
            return AddressReading::Failed;
        }
        address = std::bit_cast<Icmp::IpV4Address>(native.s_addr);
        return result == 0 ? AddressReading::Invalid : AddressReading::Valid;
    }

    std::unique_ptr<IcmpHandle> Open() const override
    {
        const HANDLE handle = ::IcmpCreateFile();
        if (handle == INVALID_HANDLE_VALUE)
        {
            throw Shared::Exception::Win32Exception("IcmpCreateFile() failed", Shared::Platform::LastError());
        }
        return std::make_unique<NativeIcmpHandle>(handle);
    }

    std::wstring FormatAddress(const Icmp::IpV4Address& address) const override
    {
        std::array<wchar_t, INET_ADDRSTRLEN> text{};
        return ::InetNtopW(AF_INET, address.data(), text.data(), text.size()) == nullptr ? std::wstring{} : text.data();
    }
};

} // namespace

const IcmpService& GetIcmpService() noexcept
{
    static const NativeIcmpService s_service;
    return s_service;
}

} // namespace AgentCore::Tests
