#include "shared.wmi-wmi.windows.hpp"

#include <charconv>

#include "shared.com-values.windows.hpp"
#include "shared.util-functions.hpp"

namespace Shared::WMI
{

namespace
{

[[noreturn]] void Fail(
    const std::string& text, HRESULT result, const std::source_location& where = std::source_location::current())
{
    throw Exception::ComException(text, static_cast<std::uint32_t>(result), where);
}

/// Reads an attribute. False when it has no value.
bool Read(IWbemClassObject& object, const std::wstring& name, COM::Variant& value)
{
    const HRESULT result = object.Get(name.c_str(), 0, value.Receive(), nullptr, nullptr);
    if (FAILED(result))
    {
        Fail("Failed ClassObject::Get() on attribute name: " + Util::ConvertStringType(name), result);
    }
    return value.Get().vt != VT_NULL && value.Get().vt != VT_EMPTY;
}

} // namespace

WMIClassObject::WMIClassObject(COM::ComPtr<IWbemClassObject> object) noexcept : m_object(std::move(object))
{
}

template <>
std::optional<bool> WMIClassObject::Get<bool>(const std::wstring& name) const
{
    COM::Variant value;
    if (!Read(*m_object.Get(), name, value))
    {
        return std::nullopt;
    }
    if (value.Get().vt != VT_BOOL)
    {
        throw Exception::RuntimeException("WMI value is not typed as a VT_BOOL. ");
    }
    return value.Get().boolVal != VARIANT_FALSE;
}

template <>
std::optional<std::int32_t> WMIClassObject::Get<std::int32_t>(const std::wstring& name) const
{
    COM::Variant value;
    if (!Read(*m_object.Get(), name, value))
    {
        return std::nullopt;
    }
    if (value.Get().vt != VT_I4)
    {
        throw Exception::RuntimeException("WMI value is not typed as a VT_I4. ");
    }
    return static_cast<std::int32_t>(value.Get().lVal);
}

template <>
std::optional<std::wstring> WMIClassObject::Get<std::wstring>(const std::wstring& name) const
{
    COM::Variant value;
    if (!Read(*m_object.Get(), name, value))
    {
        return std::nullopt;
    }
    if (value.Get().vt != VT_BSTR)
    {
        throw Exception::RuntimeException("WMI value is not typed as a BSTR. ");
    }
    // A null pointer is COM's other empty text.
    const BSTR text = value.Get().bstrVal;
    return text == nullptr ? std::wstring{} : std::wstring{text, ::SysStringLen(text)};
}

template <>
std::optional<std::uint64_t> WMIClassObject::Get<WmiStringAsUInt64>(const std::wstring& name) const
{
    const auto text = Get<std::wstring>(name);
    if (!text)
    {
        return std::nullopt;
    }
    const auto digits = Util::ConvertStringType(*text);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc{} || end != digits.data() + digits.size())
    {
        throw Exception::RuntimeException("Failed to convert value to UINT64. Value: " + digits);
    }
    return number;
}

WMIObjectEnumerator::WMIObjectEnumerator(COM::ComPtr<IEnumWbemClassObject> rows) : m_rows(std::move(rows))
{
    if (!m_rows)
    {
        throw Exception::InvalidArgumentException(
            "WmiObjectEnumerator cannot be initialised with a null IEnumWbemClassObject.");
    }
}

std::optional<WMIClassObject> WMIObjectEnumerator::Next()
{
    COM::ComPtr<IWbemClassObject> row;
    ULONG count = 0;
    const HRESULT result = m_rows->Next(NextTimeoutMs, 1, row.Receive(), &count);
    // A time-out is no failure to COM, but a result that was cut short must not pass for the whole one.
    if (FAILED(result) || result == WBEM_S_TIMEDOUT)
    {
        Fail("IWbemClassObject::Next() call failed.", result);
    }
    if (count == 0 || !row)
    {
        return std::nullopt;
    }
    return WMIClassObject{std::move(row)};
}

WMIProxy::WMIProxy()
{
    const HRESULT result = ::CoCreateInstance(
        CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
        reinterpret_cast<void**>(m_locator.Receive()));
    if (FAILED(result))
    {
        Fail("Failed to create IWbemLocator proxy.", result);
    }
}

IWbemLocator* WMIProxy::GetLocator() const noexcept
{
    return m_locator.Get();
}

WMIServer::WMIServer(const std::wstring& wmiNamespace) : WMIServer(WMIProxy{}.GetLocator(), wmiNamespace)
{
}

WMIServer::WMIServer(IWbemLocator* locator, const std::wstring& wmiNamespace)
{
    if (locator == nullptr)
    {
        throw Exception::InvalidArgumentException("WmiServerConnection cannot be initialised with a null locator");
    }
    HRESULT result = locator->ConnectServer(
        COM::Bstr{wmiNamespace}.Get(), nullptr, nullptr, nullptr, WBEM_FLAG_CONNECT_USE_MAX_WAIT, nullptr, nullptr,
        m_services.Receive());
    if (FAILED(result))
    {
        Fail("Could not connect to requested namespace: " + Util::ConvertStringType(wmiNamespace), result);
    }
    result = ::CoSetProxyBlanket(
        m_services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
        RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
    if (FAILED(result))
    {
        Fail("Failed to set proxy blanket.", result);
    }
}

WMIObjectEnumerator WMIServer::Query(const std::wstring& wql) const
{
    COM::ComPtr<IEnumWbemClassObject> rows;
    const HRESULT result = m_services->ExecQuery(
        COM::Bstr{L"WQL"}.Get(), COM::Bstr{wql}.Get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
        rows.Receive());
    if (FAILED(result))
    {
        Fail("Query failed: " + Util::ConvertStringType(wql), result);
    }
    return WMIObjectEnumerator{std::move(rows)};
}

} // namespace Shared::WMI
