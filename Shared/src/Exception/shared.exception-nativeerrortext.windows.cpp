#include "shared.exception-nativeerrortext.hpp"

#include <memory>
#include <string_view>

#include "shared.util-utf8.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::Exception::Native
{

namespace
{

struct ModuleCloser
{
    using pointer = HMODULE;

    void operator()(HMODULE module) const noexcept
    {
        ::FreeLibrary(module);
    }
};

using Module = std::unique_ptr<HMODULE, ModuleCloser>;

/// Only the module's message table is wanted: nothing of it runs, and a file of that name beside the agent is not taken
/// for the system's.
Module LoadTable(const wchar_t* name) noexcept
{
    return Module(::LoadLibraryExW(name, nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_SEARCH_SYSTEM32));
}

/// From the table of `module`, or the system's when there is none.
std::string TableText(HMODULE module, std::uint32_t code)
{
    constexpr DWORD Language = MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL);
    const DWORD source = module != nullptr ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM;
    // Messages with inserts (%1) have nothing to insert here.
    const DWORD flags = source | FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS;
    wchar_t* text = nullptr;
    const DWORD length = ::FormatMessageW(flags, module, code, Language, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    const std::unique_ptr<wchar_t, decltype(&::LocalFree)> owner(text, &::LocalFree);
    return length == 0 ? std::string() : Util::Utf8::Encode(std::wstring_view(text, length));
}

/// An exception is often built right before its raiser's caller reads the last error again.
class KeptLastError
{
public:
    KeptLastError() noexcept : m_code(::GetLastError())
    {
    }

    KeptLastError(const KeptLastError&) = delete;
    KeptLastError& operator=(const KeptLastError&) = delete;

    ~KeptLastError()
    {
        ::SetLastError(m_code);
    }

private:
    DWORD m_code;
};

} // namespace

std::string SystemErrorText(std::uint32_t code)
{
    const KeptLastError kept;
    return TableText(nullptr, code);
}

std::string WinHttpErrorText(std::uint32_t code)
{
    const KeptLastError kept;
    const Module table = LoadTable(L"winhttp.dll");
    return table ? TableText(table.get(), code) : std::string();
}

std::optional<std::string> NtStatusText(std::uint32_t status)
{
    const KeptLastError kept;
    const Module table = LoadTable(L"ntdll.dll");
    if (!table)
    {
        return std::nullopt;
    }
    return TableText(table.get(), status);
}

} // namespace Shared::Exception::Native
