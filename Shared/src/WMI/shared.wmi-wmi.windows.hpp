#pragma once

#include "shared.com-comptr.windows.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.wmi-value.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "shared.platform-windows.windows.hpp"

#include <wbemidl.h>

/// The system's inventory, asked in its query language. A thread that uses any of this has initialised COM
/// (Shared::COM::ComInitialiser) before, and lets go of all of it first. Objects belong to one thread at a time. Failed COM
/// calls are ComException with the texts below.
///
/// No call waits without an end: connecting gives up after the system's own limit of two minutes, each row after
/// NextTimeoutMs.
namespace Shared::WMI
{

/// Longest wait for one row of a result.
inline constexpr std::int32_t NextTimeoutMs = 120'000;

/// Names the type of 64-bit numbers, which WMI hands out as decimal text.
struct WmiStringAsUInt64
{
};

namespace Detail
{
template <typename T>
struct ValueOf
{
    static_assert(
        std::is_same_v<T, bool> || std::is_same_v<T, std::int32_t> || std::is_same_v<T, std::wstring>,
        "WMI values are read as bool, int32, wstring or WmiStringAsUInt64");
    using Type = T;
};

template <>
struct ValueOf<WmiStringAsUInt64>
{
    using Type = std::uint64_t;
};
} // namespace Detail

/// One row of a result.
class WMIClassObject
{
public:
    explicit WMIClassObject(COM::ComPtr<IWbemClassObject> object) noexcept;

    /// The value of an attribute; nothing when it is null. T is bool, std::int32_t, std::wstring, or WmiStringAsUInt64 for
    /// a 64-bit unsigned number.
    /// Throws ComException "Failed ClassObject::Get() on attribute name: " and the name, as for one that the class does
    /// not have; the runtime exceptions "WMI value is not typed as a VT_BOOL. ", "WMI value is not typed as a VT_I4. " and
    /// "WMI value is not typed as a BSTR. "; and "Failed to convert value to UINT64. Value: " and the value.
    template <typename T>
    std::optional<typename Detail::ValueOf<T>::Type> Get(const std::wstring& name) const;

private:
    COM::ComPtr<IWbemClassObject> m_object;
};

template <>
std::optional<bool> WMIClassObject::Get<bool>(const std::wstring& name) const;
template <>
std::optional<std::int32_t> WMIClassObject::Get<std::int32_t>(const std::wstring& name) const;
template <>
std::optional<std::wstring> WMIClassObject::Get<std::wstring>(const std::wstring& name) const;
template <>
std::optional<std::uint64_t> WMIClassObject::Get<WmiStringAsUInt64>(const std::wstring& name) const;

/// The rows of a result, each once and in one direction.
class WMIObjectEnumerator
{
public:
    /// Throws the invalid-argument exception "WmiObjectEnumerator cannot be initialised with a null
    /// IEnumWbemClassObject.".
    explicit WMIObjectEnumerator(COM::ComPtr<IEnumWbemClassObject> rows);

    /// The next row; nothing once there are none left. Throws ComException "IWbemClassObject::Next() call failed.", which
    /// is also where the system tells of a query of a class that it does not know.
    std::optional<WMIClassObject> Next();

private:
    COM::ComPtr<IEnumWbemClassObject> m_rows;
};

/// The system's way into WMI.
class WMIProxy
{
public:
    /// Throws ComException "Failed to create IWbemLocator proxy.".
    WMIProxy();

    IWbemLocator* GetLocator() const noexcept;

private:
    COM::ComPtr<IWbemLocator> m_locator;
};

/// A connection to one namespace.
class WMIServer
{
public:
    /// Connects to a namespace, such as "ROOT\CIMV2", by a way in of its own. Throws as WMIProxy and as below.
    explicit WMIServer(const std::wstring& wmiNamespace);
    /// Throws the invalid-argument exception "WmiServerConnection cannot be initialised with a null locator"; ComException
    /// "Could not connect to requested namespace: " and the namespace, and "Failed to set proxy blanket.".
    WMIServer(IWbemLocator* locator, const std::wstring& wmiNamespace);

    /// Starts a query in WQL. Throws ComException "Query failed: " and the query.
    WMIObjectEnumerator Query(const std::wstring& wql) const;

private:
    COM::ComPtr<IWbemServices> m_services;
};

} // namespace Shared::WMI
