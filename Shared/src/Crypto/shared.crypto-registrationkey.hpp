#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace Shared::Crypto
{

/// Most characters (bytes of UTF-8) of a registration key.
inline constexpr std::size_t LongestRegistrationKey = 63;

/// The key of a machine with this BIOS serial number (UTF-8): a constant part of 15 characters, and the number behind it as
/// far as there is room. Never ends within a character; bytes that are no UTF-8 are left out, so that the key is the same
/// when it comes back from wide characters.
std::string MakeRegistrationKey(std::string_view biosSerialNumber);

/// Tells the BIOS serial number of this machine in UTF-8; empty when there is none or it cannot be read.
using BiosSerialProvider = std::function<std::string()>;

/// Sets who is asked by the first GetRegistrationKey(). To be called once at the start of the process, before that and
/// before other threads: the number comes from the machine's inventory, which stands above this library.
void SetBiosSerialProvider(BiosSerialProvider provider);

/// The key with which this machine's enciphered settings are opened: MakeRegistrationKey() of the provider's number, or of
/// none without a provider. Built at the first call, which logs the number at level info, and kept for the life of the
/// process. What the provider throws passes on, and the next call asks it again. Any thread.
const std::string& GetRegistrationKey();

} // namespace Shared::Crypto
