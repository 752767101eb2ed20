#pragma once

#include <cstdint>

/// The NT statuses that this folder itself gives, where no system does.
namespace Shared::Crypto::Status
{

inline constexpr std::uint32_t Unsuccessful = 0xC0000001;
inline constexpr std::uint32_t InvalidParameter = 0xC000000D;
inline constexpr std::uint32_t NoMemory = 0xC0000017;
inline constexpr std::uint32_t DataError = 0xC000003E;
inline constexpr std::uint32_t InvalidBufferSize = 0xC0000206;
inline constexpr std::uint32_t NotFound = 0xC0000225;

} // namespace Shared::Crypto::Status
