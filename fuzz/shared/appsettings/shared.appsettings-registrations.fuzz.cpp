// Any text as a list of registrations: what is read of it is whole, and writing and reading it again changes nothing.
//   The whole input is the text, in UTF-8.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.require.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.crypto-sensitivestring.hpp"
#include "shared.log-configuration.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
namespace Settings = Shared::AppSettings;

/// The lines are formatted and go nowhere.
const bool s_isQuiet = []
{
    Shared::Log::ConfigureLogging(0, Shared::Log::Level::Trace, "", 1, 1);
    return true;
}();

bool AreEqual(const Settings::RegistrationInfo& first, const Settings::RegistrationInfo& second)
{
    return first.accountId == second.accountId && first.agentUuid == second.agentUuid &&
        first.subtenantId == second.subtenantId;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Require(s_isQuiet);
    const auto text = Shared::Crypto::ToSensitiveString(std::string_view(reinterpret_cast<const char*>(data), size));
    const auto registrations = Settings::ParseRegistrations(text.GetView());
    Require(
        static_cast<std::ptrdiff_t>(registrations.size()) <=
        1 + std::count(text.GetView().begin(), text.GetView().end(), L';'));
    for (const Settings::RegistrationInfo& info : registrations)
    {
        Require(info.accountId != 0 && !info.agentUuid.empty() && !info.subtenantId.empty());
        Require((info.agentUuid + info.subtenantId).find_first_of(L";,=") == std::wstring::npos);
        Require(text.GetView().find(L"subtenant-id=" + info.subtenantId) != std::wstring_view::npos);
        Require(text.GetView().find(L"agent-uuid=" + info.agentUuid) != std::wstring_view::npos);
    }
    const auto written = Settings::SerialiseRegistrations(registrations);
    const auto again = Settings::ParseRegistrations(written.GetView());
    Require(std::equal(registrations.begin(), registrations.end(), again.begin(), again.end(), AreEqual));
    Require(Settings::SerialiseRegistrations(again).GetView() == written.GetView());
    return 0;
}
