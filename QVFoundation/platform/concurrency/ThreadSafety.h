#pragma once

/// Tells the compiler which lock protects what; clang checks it with `-Wthread-safety`, other compilers
/// see nothing.
///
/// Threads: nothing here exists at run time.

#if defined(__clang__)
#define QV_THREAD_ANNOTATION(annotation) __attribute__((annotation))
#else
#define QV_THREAD_ANNOTATION(annotation)
#endif

// On types: a lock, and a guard that holds one for its scope.
#define QV_CAPABILITY(name) QV_THREAD_ANNOTATION(capability(name))
#define QV_SCOPED_CAPABILITY QV_THREAD_ANNOTATION(scoped_lockable)

// On fields: the lock to hold before the field, or what it points to, is touched.
#define QV_GUARDED_BY(lock) QV_THREAD_ANNOTATION(guarded_by(lock))
#define QV_PT_GUARDED_BY(lock) QV_THREAD_ANNOTATION(pt_guarded_by(lock))

// On functions: what the caller must hold, or must not hold.
#define QV_REQUIRES(...) QV_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QV_EXCLUDES(...) QV_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

// On functions: what they take, try to take, or let go.
#define QV_ACQUIRE(...) QV_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QV_TRY_ACQUIRE(...) QV_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define QV_RELEASE(...) QV_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define QV_RETURN_CAPABILITY(lock) QV_THREAD_ANNOTATION(lock_returned(lock))
