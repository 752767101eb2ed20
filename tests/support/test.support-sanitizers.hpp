#pragma once

namespace TestSupport
{

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEL_TEST_ADDRESS_SANITIZED true
#endif
#if __has_feature(thread_sanitizer)
#define VEL_TEST_THREAD_SANITIZED true
#endif
#endif
#if !defined(VEL_TEST_ADDRESS_SANITIZED)
#define VEL_TEST_ADDRESS_SANITIZED false
#endif
#if !defined(VEL_TEST_THREAD_SANITIZED)
#define VEL_TEST_THREAD_SANITIZED false
#endif

/// Whether this is a build with the address and undefined-behaviour sanitizers. Their checks need descriptors of their
/// own, so a test that takes all of them away has nothing to see there.
inline constexpr bool IsAddressSanitized = VEL_TEST_ADDRESS_SANITIZED;

/// Whether this is a build with the thread sanitizer. A test that races on purpose has nothing to see there.
inline constexpr bool IsThreadSanitized = VEL_TEST_THREAD_SANITIZED;

} // namespace TestSupport
