// Any texts as scheme, path, target and headers, which null characters separate. What is not refused is one argument at its
// place and none that an option could be taken for; curl can read neither a scheme nor a pattern into the target; and the
// one text that Windows hands to a tool is taken apart into the same arguments again.

#include "agentcore.tests-toolarguments.hpp"
#include "fuzz.require.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.util-commandline.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
namespace Tests = AgentCore::Tests;
using Arguments = std::vector<std::wstring>;

std::string TakeText(std::string_view& rest)
{
    const std::string text(rest.substr(0, rest.find('\0')));
    rest.remove_prefix(std::min(rest.size(), text.size() + 1));
    return text;
}

template <typename Build>
std::optional<Arguments> Run(Build build)
{
    try
    {
        const Arguments arguments = build();
        Require(Shared::Util::SplitCommandLine(Shared::Util::Paste(arguments)) == arguments);
        return arguments;
    }
    catch (const Shared::Exception::InvalidArgumentException&)
    {
        return std::nullopt;
    }
}

void CheckTarget(
    const std::optional<Arguments>& arguments, std::size_t count, std::size_t place, const std::wstring& target)
{
    Require(arguments.has_value() == (!target.empty() && target.front() != L'-'));
    Require(!arguments || (arguments->size() == count && (*arguments)[place] == target));
}

void CheckCurl(const Tests::CurlTestRequest& request)
{
    const auto arguments = Run([&] { return Tests::BuildCurlArguments(request, L"192.0.2.1", L"NUL"); });
    if (!arguments)
    {
        return;
    }
    const std::size_t headers = request.config.headers.size();
    const std::size_t skip = request.ignoreSslErrors ? 1 : 0;
    Require(arguments->size() == 15 + skip + 2 * headers);
    for (std::size_t i = 0; i < headers; ++i)
    {
        Require((*arguments)[14 + skip + 2 * i] == L"--header");
        Require(!(*arguments)[15 + skip + 2 * i].starts_with(L'@'));
    }
    Require(!Shared::Util::EqualsIgnoreCase(std::wstring_view((*arguments)[8 + skip]), L"file"));
    const std::wstring& url = arguments->back();
    Require(url.starts_with(request.target) && url.front() != L'-');
    // What stands before the first slash is a host, and perhaps a port.
    const std::wstring host = url.substr(0, url.find(L'/'));
    Require(host.find_first_of(L"{}[]") == std::wstring::npos);
    Require(host.find(L':') == std::wstring::npos || host.find(L':') == host.rfind(L':'));
    Require(!Shared::Util::ToLower(host).starts_with(L"file:"));
    Require((*arguments)[4 + skip].starts_with(request.target + L":"));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    Tests::CurlTestRequest request;
    request.scheme = TakeText(rest);
    request.config.path = TakeText(rest);
    request.target = Shared::Util::ConvertStringType(TakeText(rest));
    request.ignoreSslErrors = size % 2 == 1;
    while (!rest.empty())
    {
        request.config.headers.push_back(TakeText(rest));
    }
    CheckCurl(request);
    request.port = 8080;
    if (!Shared::Util::EqualsIgnoreCase(request.target, L"file"))
    {
        CheckCurl(request);
    }
    const std::wstring& target = request.target;
    CheckTarget(Run([&] { return Tests::BuildMtrArguments(3, target); }), 15, 14, target);
    CheckTarget(Run([&] { return Tests::BuildBmtrArguments(false, target); }), 9, 7, target);
    Tests::TcpPingRequest ping;
    ping.config.target = target;
    CheckTarget(Run([&] { return Tests::BuildTcpPingArguments(ping); }), 9, 8, target);
    return 0;
}
