#pragma once

// What the compiler that analyses locking is told about locks. Other compilers see nothing.

#if defined(__clang__)
#define VEL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VEL_THREAD_ANNOTATION(x)
#endif

#define VEL_CAPABILITY(x) VEL_THREAD_ANNOTATION(capability(x))
#define VEL_SCOPED_CAPABILITY VEL_THREAD_ANNOTATION(scoped_lockable)
#define VEL_GUARDED_BY(x) VEL_THREAD_ANNOTATION(guarded_by(x))
#define VEL_ACQUIRE(...) VEL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define VEL_RELEASE(...) VEL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define VEL_REQUIRES(...) VEL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VEL_RETURN_CAPABILITY(x) VEL_THREAD_ANNOTATION(lock_returned(x))
#define VEL_NO_THREAD_ANALYSIS VEL_THREAD_ANNOTATION(no_thread_safety_analysis)
