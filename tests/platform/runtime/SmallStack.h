#pragma once

#include <cstddef>
#include <functional>
#include <pthread.h>
#include <system_error>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QV_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QV_SANITIZED
#endif
#endif

namespace QVFoundation::testing {

// Sanitizers make frames larger and keep some of their own data on each stack.
#ifdef QV_SANITIZED
inline constexpr std::size_t smallStackSize = std::size_t{1024} * 1024;
#else
inline constexpr std::size_t smallStackSize = std::size_t{256} * 1024;
#endif

/// Does work on a thread whose stack would not bear a frame for each of 100,000 links.
inline void onSmallStack(std::function<void()> work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, smallStackSize);
  pthread_t thread{};
  const auto run = [](void* call) -> void* {
    (*static_cast<std::function<void()>*>(call))();
    return nullptr;
  };
  const int failure = pthread_create(&thread, &attributes, run, &work);
  pthread_attr_destroy(&attributes);
  ASSERT_EQ(failure, 0) << std::generic_category().message(failure);
  pthread_join(thread, nullptr);
}

}  // namespace QVFoundation::testing
