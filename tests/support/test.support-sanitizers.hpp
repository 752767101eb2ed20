#pragma once

namespace TestSupport
{

/// Whether this is a build with the address and undefined-behaviour sanitizers. Their checks need descriptors of their
/// own, so a test that takes all of them away has nothing to see there.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool IsAddressSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool IsAddressSanitized = true;
#else
inline constexpr bool IsAddressSanitized = false;
#endif
#else
inline constexpr bool IsAddressSanitized = false;
#endif

} // namespace TestSupport
