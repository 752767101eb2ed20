#include "shared.crypto-registrationkey.hpp"

#include "shared.log-functions.hpp"
#include "shared.util-utf8.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Shared::Crypto
{

namespace
{

constexpr std::size_t ConstantLength = 15;
constexpr std::size_t MaskSize = 64;

// Volatile, or a compiler would work out the constant part and put it into the executable in the clear.

const volatile std::uint8_t s_first[ConstantLength] = {0xBD, 0x62, 0xA5, 0xB7, 0x2D, 0xF5, 0x60, 0x45,
                                                       0x37, 0x6C, 0xCC, 0x24, 0x70, 0x33, 0x3F};

const volatile std::uint8_t s_second[MaskSize] = {
    0xCB, 0x36, 0x91, 0x94, 0x5C, 0xB9, 0x0D, 0x7C, 0x16, 0x3E, 0xB6, 0x16, 0x56, 0x4B, 0x68, 0x08,
    0x5A, 0x0B, 0xA2, 0xE1, 0xEB, 0x5C, 0x6C, 0x92, 0x7A, 0x47, 0x54, 0x7C, 0x2F, 0xF4, 0x55, 0xF9,
    0xD1, 0xD8, 0x24, 0xB5, 0x8A, 0x1E, 0x93, 0x10, 0xF5, 0x10, 0x59, 0x27, 0x01, 0xD9, 0xFD, 0x3C,
    0x17, 0xC7, 0x3F, 0x9E, 0x36, 0xE8, 0xF7, 0x33, 0x87, 0x87, 0x13, 0xD1, 0xFA, 0xDD, 0x41, 0x90};

std::string MakeConstantPart()
{
    std::string part;
    for (std::size_t i = 0; i < ConstantLength; ++i)
    {
        part.push_back(static_cast<char>(s_first[i] ^ s_second[i & (MaskSize - 1)]));
    }
    return part;
}

BiosSerialProvider& Provider()
{
    static BiosSerialProvider s_provider;
    return s_provider;
}

std::string BuildRegistrationKey()
{
    const std::string number = Provider() ? Provider()() : std::string();
    Log::Info("This machine's BIOS serial number is {0}", number);
    return MakeRegistrationKey(number);
}

} // namespace

std::string MakeRegistrationKey(std::string_view biosSerialNumber)
{
    std::string key = MakeConstantPart() + Util::Utf8::DropInvalid(biosSerialNumber);
    key.resize(std::min(key.size(), LongestRegistrationKey));
    return Util::Utf8::DropInvalid(key);
}

void SetBiosSerialProvider(BiosSerialProvider provider)
{
    Provider() = std::move(provider);
}

const std::string& GetRegistrationKey()
{
    static const std::string s_key = BuildRegistrationKey();
    return s_key;
}

} // namespace Shared::Crypto
