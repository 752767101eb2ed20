#include "shared.crypto-cng.windows.hpp"

#include <string_view>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-standarderror.hpp"

namespace Shared::Crypto::Cng
{

namespace
{

void ReportUnlessDone(NTSTATUS status, std::wstring_view line) noexcept
{
    if (!BCRYPT_SUCCESS(status))
    {
        Platform::PrintToStandardError(line);
    }
}

} // namespace

void AlgorithmCloser::operator()(void* handle) const noexcept
{
    ReportUnlessDone(::BCryptCloseAlgorithmProvider(handle, 0), L"BCryptCloseAlgorithmProvider failed\n");
}

void HashCloser::operator()(void* handle) const noexcept
{
    ReportUnlessDone(::BCryptDestroyHash(handle), L"BCryptDestroyHash failed\n");
}

void KeyCloser::operator()(void* handle) const noexcept
{
    ReportUnlessDone(::BCryptDestroyKey(handle), L"BCryptDestroyKey failed\n");
}

void ThrowUnlessDone(NTSTATUS status, const char* text, const std::source_location& where)
{
    if (!BCRYPT_SUCCESS(status))
    {
        throw Exception::NtStatusException(text, static_cast<std::uint32_t>(status), where);
    }
}

Algorithm OpenAlgorithm(const wchar_t* name)
{
    BCRYPT_ALG_HANDLE handle = nullptr;
    ThrowUnlessDone(::BCryptOpenAlgorithmProvider(&handle, name, nullptr, 0), "BCryptOpenAlgorithmProvider failed");
    return Algorithm(handle);
}

std::uint32_t GetNumber(const Algorithm& algorithm, const wchar_t* property)
{
    DWORD number = 0;
    ULONG written = 0;
    ThrowUnlessDone(
        ::BCryptGetProperty(algorithm.get(), property, reinterpret_cast<PUCHAR>(&number), sizeof(number), &written, 0),
        "BCryptGetProperty failed");
    return static_cast<std::uint32_t>(number);
}

} // namespace Shared::Crypto::Cng
