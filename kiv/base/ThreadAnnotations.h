// Says which lock guards what. Checked by clang's thread-safety analysis, empty elsewhere.
#pragma once

#if defined(__clang__)
#define KIV_THREAD_ATTRIBUTE(...) __attribute__((__VA_ARGS__))
#else
#define KIV_THREAD_ATTRIBUTE(...)
#endif

#define KIV_CAPABILITY(name) KIV_THREAD_ATTRIBUTE(capability(name))
#define KIV_SCOPED_CAPABILITY KIV_THREAD_ATTRIBUTE(scoped_lockable)
#define KIV_GUARDED_BY(lock) KIV_THREAD_ATTRIBUTE(guarded_by(lock))
// What a pointer points to is guarded, not the pointer.
#define KIV_PT_GUARDED_BY(lock) KIV_THREAD_ATTRIBUTE(pt_guarded_by(lock))
#define KIV_REQUIRES(...) KIV_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define KIV_ACQUIRE(...) KIV_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define KIV_TRY_ACQUIRE(...) KIV_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define KIV_RELEASE(...) KIV_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
// Of a function that does nothing: from here on the compiler takes the lock as held.
#define KIV_ASSERT_HELD(...) KIV_THREAD_ATTRIBUTE(assert_capability(__VA_ARGS__))
#define KIV_NO_THREAD_ANALYSIS KIV_THREAD_ATTRIBUTE(no_thread_safety_analysis)
