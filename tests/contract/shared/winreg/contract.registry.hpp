#pragma once

#include "shared.exception-exceptions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-settingsstore.hpp"

#include <string>

#include <gtest/gtest.h>

/// What all contract suites of the registry start from: an empty registry with one key.
class RegistryContract : public testing::Test
{
protected:
    static constexpr auto Machine = Shared::WinReg::Root::LocalMachine;
    inline static const std::wstring Key = L"SOFTWARE\\Tarvane\\VEL";

    void SetUp() override
    {
        Shared::WinReg::CreateKey(Machine, Key);
    }

    void TearDown() override
    {
        if (HasFailure())
        {
            m_store.Keep();
        }
    }

    /// what() of the Win32Exception that `call` throws, without the place: from the text on.
    template <typename Call>
    static std::string TextOfFailure(Call call)
    {
        try
        {
            call();
        }
        catch (const Shared::Exception::Win32Exception& failure)
        {
            const std::string what = failure.what();
            // "Exception in function {}() in {}:{}:{}: {}": the text follows the first colon with a blank behind it.
            const auto colon = what.find(": ");
            return colon == std::string::npos ? what : what.substr(colon + 2);
        }
        return "no failure";
    }

    template <typename Call>
    static std::uint32_t CodeOfFailure(Call call)
    {
        try
        {
            call();
        }
        catch (const Shared::Exception::Win32Exception& failure)
        {
            return failure.GetCode();
        }
        return 0;
    }

    TestSupport::TemporarySettingsStore m_store;
};
