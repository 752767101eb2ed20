// Two versions, the first and the second line of any text, each byte a character. They compare as their pieces do when these
// are read one by one in wide numbers; the other way round it is the mirror, and noughts at the end make no difference.

#include "agentcore.ops-upgrade.hpp"
#include "fuzz.require.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using AgentCore::Ops::CompareVersions;
using AgentCore::Ops::VersionOrder;
using Fuzz::Require;

std::vector<std::uint64_t> NumbersOf(const std::wstring& version)
{
    constexpr std::uint64_t Modulus = std::uint64_t{1} << 32;
    std::vector<std::uint64_t> numbers;
    for (const std::wstring& piece : Shared::Util::Split(std::wstring_view(version), std::wstring_view(L".")))
    {
        std::uint64_t number = 0;
        for (const wchar_t character : piece)
        {
            number = (number * 10 + static_cast<std::uint64_t>(character) + Modulus - 48) % Modulus;
        }
        numbers.push_back(number);
    }
    return numbers;
}

VersionOrder Expect(const std::wstring& first, const std::wstring& second)
{
    auto ofFirst = NumbersOf(first);
    auto ofSecond = NumbersOf(second);
    const std::size_t size = std::max(ofFirst.size(), ofSecond.size());
    ofFirst.resize(size);
    ofSecond.resize(size);
    if (ofFirst == ofSecond)
    {
        return VersionOrder::Equal;
    }
    return ofFirst > ofSecond ? VersionOrder::Newer : VersionOrder::Older;
}

VersionOrder Mirror(VersionOrder order)
{
    switch (order)
    {
    case VersionOrder::Older:
        return VersionOrder::Newer;
    case VersionOrder::Newer:
        return VersionOrder::Older;
    case VersionOrder::Equal:
        break;
    }
    return VersionOrder::Equal;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::wstring text(data, data + size);
    const std::size_t end = std::min(text.find(L'\n'), text.size());
    const std::wstring first = text.substr(0, end);
    const std::wstring second = text.substr(std::min(end + 1, text.size()));
    const VersionOrder order = CompareVersions(first, second);
    Require(order == Expect(first, second));
    Require(CompareVersions(second, first) == Mirror(order));
    Require(CompareVersions(first, first) == VersionOrder::Equal);
    Require(CompareVersions(first + L".0", second) == order && CompareVersions(first, second + L"..0.") == order);
    return 0;
}
