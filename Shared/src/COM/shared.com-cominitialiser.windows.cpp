#include "shared.com-cominitialiser.hpp"

#include <cstdint>
#include <mutex>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"

#include "shared.platform-windows.windows.hpp"

#include <objbase.h>

namespace Shared::COM
{

namespace
{

/// Once in the process; a failure is tried again by the next caller.
void InitialiseSecurity()
{
    static std::once_flag s_done;
    std::call_once(
        s_done,
        []
        {
            const HRESULT result = ::CoInitializeSecurity(
                nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,
                EOAC_NONE, nullptr);
            if (result == RPC_E_TOO_LATE)
            {
                Log::Warn("COM security was already set by something else in the process");
            }
            else if (FAILED(result))
            {
                throw Exception::ComException("Failed to initialize COM security.", static_cast<std::uint32_t>(result));
            }
        });
}

} // namespace

ComInitialiser::~ComInitialiser()
{
    if (m_initialised)
    {
        ::CoUninitialize();
    }
}

void ComInitialiser::Initialise()
{
    if (m_initialised)
    {
        return;
    }
    const HRESULT result = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(result))
    {
        throw Exception::ComException("Failed to initialise COM.", static_cast<std::uint32_t>(result));
    }
    try
    {
        InitialiseSecurity();
    }
    catch (...)
    {
        ::CoUninitialize();
        throw;
    }
    m_initialised = true;
}

} // namespace Shared::COM
