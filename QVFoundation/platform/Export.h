#pragma once

/// The two words that put a symbol into the shared library's interface. All others stay hidden.
///
/// `QV_EXPORT` marks what applications may call. `QV_TEST_EXPORT` marks internal seams that tests reach: it
/// exports them in a build that has tests, and means nothing in a build that is shipped.
///
/// Threads: nothing here exists at run time.

#define QV_EXPORT __attribute__((visibility("default")))

#ifdef QV_TEST_SEAMS
#define QV_TEST_EXPORT QV_EXPORT
#else
#define QV_TEST_EXPORT
#endif
