#include "shared.ipc-pipeaccess.linux.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include <pwd.h>
#include <unistd.h>

namespace Shared::Ipc::Native
{

namespace
{

constexpr uid_t Root = 0;
constexpr std::array<const char*, 2> ReducedUsers = {"tarvane-vel", "nobody"};

bool IsCapital(wchar_t character) noexcept
{
    return character >= L'A' && character <= L'Z';
}

bool IsDigit(wchar_t character) noexcept
{
    return character >= L'0' && character <= L'9';
}

std::vector<std::wstring_view> SplitFields(std::wstring_view text)
{
    std::vector<std::wstring_view> fields;
    while (true)
    {
        const std::size_t end = text.find(L';');
        fields.push_back(text.substr(0, end));
        if (end == std::wstring_view::npos)
        {
            return fields;
        }
        text.remove_prefix(end + 1);
    }
}

/// Two capitals, or "S-1-" and numbers.
bool IsAccount(std::wstring_view text) noexcept
{
    constexpr std::wstring_view SidPrefix = L"S-1-";
    if (text.starts_with(SidPrefix))
    {
        text.remove_prefix(SidPrefix.size());
        return !text.empty() &&
            std::ranges::all_of(text, [](wchar_t character) { return IsDigit(character) || character == L'-'; });
    }
    return text.size() == 2 && IsCapital(text[0]) && IsCapital(text[1]);
}

bool IsReduced(std::wstring_view account) noexcept
{
    return account == L"LS" || account == L"NS" || account == L"S-1-5-19" || account == L"S-1-5-20";
}

struct Rights
{
    bool read = false;
    bool write = false;
};

/// Of the bits of an access mask, those by which a pipe is opened for reading and writing.
Rights FromMask(std::uint32_t mask) noexcept
{
    constexpr std::uint32_t ReadBits = 0x80000000 | 0x10000000 | 0x1;
    constexpr std::uint32_t WriteBits = 0x40000000 | 0x10000000 | 0x2;
    return {(mask & ReadBits) != 0, (mask & WriteBits) != 0};
}

std::optional<std::uint32_t> ReadHexadecimal(std::wstring_view text) noexcept
{
    constexpr std::size_t MostDigits = 8;
    if (text.empty() || text.size() > MostDigits)
    {
        return std::nullopt;
    }
    std::uint32_t value = 0;
    for (const wchar_t character : text)
    {
        constexpr std::wstring_view Digits = L"0123456789ABCDEFabcdef";
        const std::size_t place = Digits.find(character);
        if (place == std::wstring_view::npos)
        {
            return std::nullopt;
        }
        value = value * 16 + static_cast<std::uint32_t>(place < 16 ? place : place - 6);
    }
    return value;
}

/// A mask in hexadecimal, or pairs of capitals.
std::optional<Rights> ReadRights(std::wstring_view text) noexcept
{
    if (text.starts_with(L"0x") || text.starts_with(L"0X"))
    {
        const std::optional<std::uint32_t> mask = ReadHexadecimal(text.substr(2));
        return mask ? std::optional(FromMask(*mask)) : std::nullopt;
    }
    if (text.size() % 2 != 0 || !std::ranges::all_of(text, IsCapital))
    {
        return std::nullopt;
    }
    Rights rights;
    for (; !text.empty(); text.remove_prefix(2))
    {
        const std::wstring_view right = text.substr(0, 2);
        const bool isAll = right == L"GA" || right == L"FA";
        rights.read = rights.read || isAll || right == L"GR" || right == L"FR";
        rights.write = rights.write || isAll || right == L"GW" || right == L"FW";
    }
    return rights;
}

/// What the entries of the access list say of the reduced account.
struct Findings
{
    Rights allowed;
    Rights denied;
};

/// One entry, without its brackets: type; flags; rights; object; inherited object; account.
bool ReadEntry(std::wstring_view text, Findings& findings)
{
    constexpr std::size_t FieldCount = 6;
    const std::vector<std::wstring_view> fields = SplitFields(text);
    if (fields.size() < FieldCount || fields[0].empty() || !std::ranges::all_of(fields[0], IsCapital) ||
        !IsAccount(fields[5]))
    {
        return false;
    }
    const std::optional<Rights> rights = ReadRights(fields[2]);
    if (!rights)
    {
        return false;
    }
    if (IsReduced(fields[5]) && (fields[0] == L"A" || fields[0] == L"D"))
    {
        Rights& found = fields[0] == L"A" ? findings.allowed : findings.denied;
        found.read = found.read || rights->read;
        found.write = found.write || rights->write;
    }
    return true;
}

/// The list behind "D:" or "S:": flags, then entries in brackets. Takes it off `text`.
bool ReadList(std::wstring_view& text, Findings& findings)
{
    while (!text.empty() && IsCapital(text.front()) && (text.size() < 2 || text[1] != L':'))
    {
        text.remove_prefix(1);
    }
    while (text.starts_with(L'('))
    {
        const std::size_t end = text.find(L')');
        if (end == std::wstring_view::npos || !ReadEntry(text.substr(1, end - 1), findings))
        {
            return false;
        }
        text.remove_prefix(end + 1);
    }
    return true;
}

/// The account behind "O:" or "G:". Takes it off `text`.
bool ReadOwner(std::wstring_view& text) noexcept
{
    const std::size_t next = text.find(L':');
    const std::size_t size = next == std::wstring_view::npos ? text.size() : next - 1;
    if (next == 0 || !IsAccount(text.substr(0, size)))
    {
        return false;
    }
    text.remove_prefix(size);
    return true;
}

} // namespace

std::optional<DescriptorGrants> ReadDescriptor(std::wstring_view descriptor)
{
    constexpr std::wstring_view Parts = L"OGDS";
    std::wstring order;
    Findings access;
    Findings audit;
    while (!descriptor.empty())
    {
        const wchar_t part = descriptor.front();
        if (descriptor.size() < 2 || descriptor[1] != L':' || Parts.find(part) == std::wstring_view::npos ||
            order.find(part) != std::wstring::npos)
        {
            return std::nullopt;
        }
        order.push_back(part);
        descriptor.remove_prefix(2);
        const bool isOwner = part == L'O' || part == L'G';
        if (!(isOwner ? ReadOwner(descriptor) : ReadList(descriptor, part == L'D' ? access : audit)))
        {
            return std::nullopt;
        }
    }
    const bool canRead = access.allowed.read && !access.denied.read;
    const bool canWrite = access.allowed.write && !access.denied.write;
    return DescriptorGrants{canRead && canWrite};
}

std::optional<uid_t> FindReducedUser()
{
    constexpr std::size_t BufferSize = 16384;
    std::vector<char> buffer(BufferSize);
    for (const char* const name : ReducedUsers)
    {
        passwd entry = {};
        passwd* found = nullptr;
        if (::getpwnam_r(name, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
        {
            return entry.pw_uid;
        }
    }
    return std::nullopt;
}

std::optional<PipeAccess> PipeAccess::FromDescriptor(std::wstring_view descriptor)
{
    const std::optional<DescriptorGrants> grants = ReadDescriptor(descriptor);
    if (!grants)
    {
        return std::nullopt;
    }
    PipeAccess access;
    if (grants->toReducedAccount)
    {
        if (const std::optional<uid_t> user = FindReducedUser())
        {
            access.m_others.push_back(*user);
        }
    }
    return access;
}

bool PipeAccess::Admits(uid_t user) const noexcept
{
    return user == Root || user == ::geteuid() || std::ranges::find(m_others, user) != m_others.end();
}

const std::vector<uid_t>& PipeAccess::GetOthers() const noexcept
{
    return m_others;
}

} // namespace Shared::Ipc::Native
